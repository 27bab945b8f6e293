# Debian's hardening for the release and package builds (ZELVO_HARDENING, on in their presets):
# the flags of dpkg-buildflags with every hardening feature, as the distribution's own packages
# get them. The library parses what the network sends. Bookworm's dpkg-buildflags does not know
# stack-clash or control-flow protection yet (later versions give them), so they are added here.
find_program(ZELVO_DPKG_BUILDFLAGS dpkg-buildflags REQUIRED)
foreach(kind CPPFLAGS CXXFLAGS LDFLAGS)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env DEB_BUILD_MAINT_OPTIONS=hardening=+all ${ZELVO_DPKG_BUILDFLAGS} --get ${kind}
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE ZELVO_${kind} OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endforeach()
set(ZELVO_HARDENING_FLAGS "${ZELVO_CPPFLAGS} ${ZELVO_CXXFLAGS} -fstack-clash-protection")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
  string(APPEND ZELVO_HARDENING_FLAGS " -fcf-protection")
  # Every object of ours has the control-flow marks, but bookworm's crti.o and crtn.o (the few
  # instructions around _init and _fini) carry no such note, so the linker would leave it out
  # of every program and library (bookworm's own binaries lack it for that reason): it is set.
  string(APPEND ZELVO_LDFLAGS " -Wl,-z,ibt -Wl,-z,shstk")
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  string(APPEND ZELVO_HARDENING_FLAGS " -mbranch-protection=standard")
endif()
# The build type's own optimisation (-O3 in Release) comes after these flags and wins over -O2.
string(APPEND CMAKE_CXX_FLAGS " ${ZELVO_HARDENING_FLAGS}")
string(APPEND CMAKE_C_FLAGS " ${ZELVO_HARDENING_FLAGS}")
foreach(kind EXE SHARED MODULE)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS " ${ZELVO_LDFLAGS}")
endforeach()
message(STATUS "Hardening (dpkg-buildflags and more): ${ZELVO_HARDENING_FLAGS} ${ZELVO_LDFLAGS}")
