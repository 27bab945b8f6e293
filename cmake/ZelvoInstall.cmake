# Install rules: the library, its public headers (the generated ones too), the testing library,
# the CMake package (zelvo::zelvo, zelvo::testing), the pkg-config files, the tools and their
# manual pages, in components that the Debian packages follow (cmake/ZelvoPackaging.cmake):
# runtime (the shared library), dev (everything a host builds with), tools, and per toolkit
# integration <toolkit> and <toolkit>_dev.
include(CMakePackageConfigHelpers)
set(ZELVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelvo)

install(TARGETS zelvo zelvo_testing EXPORT zelvoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
# A toolkit integration's headers go only with its library (below); the probes only with them.
set(ZELVO_HEADER_EXCLUDES PATTERN gtk EXCLUDE PATTERN qt EXCLUDE)
if(NOT ZELVO_TEST_PROBES)
  list(APPEND ZELVO_HEADER_EXCLUDES PATTERN tracker_probes.h EXCLUDE)
endif()
install(DIRECTORY include/ ${ZELVO_GENERATED_INCLUDE_DIR}/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h" ${ZELVO_HEADER_EXCLUDES})

install(EXPORT zelvoTargets NAMESPACE zelvo:: DESTINATION ${ZELVO_CMAKE_DIR} COMPONENT dev)
# The toolkit integrations, each a component of the package (find_package(zelvo COMPONENTS qt))
# with a targets file of its own, read only when asked for: a host without the toolkit still
# finds zelvo::zelvo. Each has install components of its own, <toolkit> (the shared library)
# and <toolkit>_dev (headers, targets file), so that the core's packages need no toolkit.
foreach(toolkit gtk qt)
  if(TARGET zelvo_${toolkit})
    set_target_properties(zelvo_${toolkit} PROPERTIES OUTPUT_NAME zelvo-${toolkit} EXPORT_NAME ${toolkit})
    if(BUILD_SHARED_LIBS)
      set_target_properties(zelvo_${toolkit} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    endif()
    install(TARGETS zelvo_${toolkit} EXPORT zelvo-${toolkit}-targets
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${toolkit} NAMELINK_COMPONENT ${toolkit}_dev
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${toolkit}_dev)
    install(DIRECTORY include/zelvo/${toolkit} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zelvo
      COMPONENT ${toolkit}_dev FILES_MATCHING PATTERN "*.h")
    install(EXPORT zelvo-${toolkit}-targets NAMESPACE zelvo:: DESTINATION ${ZELVO_CMAKE_DIR} COMPONENT ${toolkit}_dev)
  endif()
endforeach()
get_target_property(ZELVO_LIBRARY_TYPE zelvo TYPE)
configure_package_config_file(cmake/zelvoConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/zelvoConfig.cmake
  INSTALL_DESTINATION ${ZELVO_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/zelvoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/zelvoConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/zelvoConfigVersion.cmake
  DESTINATION ${ZELVO_CMAKE_DIR} COMPONENT dev)

# The .pc files find the prefix from where they lie, so an installed tree can move.
set(ZELVO_PC_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH ZELVO_PC_TO_PREFIX /prefix/${ZELVO_PC_DIR} /prefix)
string(REGEX REPLACE "/$" "" ZELVO_PC_TO_PREFIX "${ZELVO_PC_TO_PREFIX}")
foreach(pc zelvo zelvo-testing)
  configure_file(cmake/${pc}.pc.in ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${pc}.pc DESTINATION ${ZELVO_PC_DIR} COMPONENT dev)
endforeach()

# The tools find the library beside them wherever the tree is installed, except in a system
# directory (the Debian packages' /usr), which the loader searches anyway.
foreach(tool zelvo-collector zelvo-sim)
  if(TARGET ${tool})
    if(NOT CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
      set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    endif()
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()

# The tools' manual pages, made from their --help by help2man, so they cannot drift from it.
# Not in a cross build, whose tools cannot run here, nor under the sanitizers, whose runtimes
# may add to what a tool prints.
set(ZELVO_MAN_NAME_zelvo-collector "local HTTPS collection service that checks Zelvo's pings")
set(ZELVO_MAN_NAME_zelvo-sim "replay a Zelvo scenario file in virtual time")
find_program(ZELVO_HELP2MAN help2man)
find_program(ZELVO_GZIP gzip)
foreach(tool zelvo-collector zelvo-sim)
  if(NOT TARGET ${tool} OR CMAKE_CROSSCOMPILING OR CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    continue()
  endif()
  if(NOT ZELVO_HELP2MAN OR NOT ZELVO_GZIP)
    message(STATUS "No manual page for ${tool}: help2man (Debian help2man) or gzip was not found")
    continue()
  endif()
  set(page ${CMAKE_CURRENT_BINARY_DIR}/man/${tool}.1)
  add_custom_command(OUTPUT ${page}.gz
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/man
    COMMAND ${ZELVO_HELP2MAN} --no-info --section=1 --version-string=${PROJECT_VERSION}
      "--name=${ZELVO_MAN_NAME_${tool}}" --output=${page} $<TARGET_FILE:${tool}>
    COMMAND ${ZELVO_GZIP} -9nf ${page}
    DEPENDS ${tool} COMMENT "Manual page of ${tool} (help2man)" VERBATIM)
  add_custom_target(${tool}-man ALL DEPENDS ${page}.gz)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endforeach()
