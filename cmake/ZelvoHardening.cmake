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
# The build type's own optimisation (-O3 in Release) comes after these flags and wins over -O2.
string(APPEND CMAKE_CXX_FLAGS " ${ZELVO_CPPFLAGS} ${ZELVO_CXXFLAGS} -fstack-clash-protection -fcf-protection")
string(APPEND CMAKE_C_FLAGS " ${ZELVO_CPPFLAGS} ${ZELVO_CXXFLAGS} -fstack-clash-protection -fcf-protection")
foreach(kind EXE SHARED MODULE)
  string(APPEND CMAKE_${kind}_LINKER_FLAGS " ${ZELVO_LDFLAGS}")
endforeach()
message(STATUS "Hardening (dpkg-buildflags): ${ZELVO_CPPFLAGS} ${ZELVO_CXXFLAGS} ${ZELVO_LDFLAGS}")
