# Install rules: the library, its public headers (the generated ones too), the testing library,
# the CMake package (zelvo::zelvo, zelvo::testing) and the pkg-config files, in three
# components that the Debian packages follow: runtime (the shared library), dev (everything
# a host builds with) and tools.
include(CMakePackageConfigHelpers)
set(ZELVO_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelvo)

install(TARGETS zelvo zelvo_testing EXPORT zelvoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
# A toolkit integration's headers go only with its library.
set(ZELVO_HEADER_EXCLUDES)
foreach(toolkit gtk qt)
  if(NOT TARGET zelvo_${toolkit})
    list(APPEND ZELVO_HEADER_EXCLUDES PATTERN ${toolkit} EXCLUDE)
  endif()
endforeach()
if(NOT ZELVO_TEST_PROBES)
  list(APPEND ZELVO_HEADER_EXCLUDES PATTERN tracker_probes.h EXCLUDE)
endif()
install(DIRECTORY include/ ${ZELVO_GENERATED_INCLUDE_DIR}/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h" ${ZELVO_HEADER_EXCLUDES})

install(EXPORT zelvoTargets NAMESPACE zelvo:: DESTINATION ${ZELVO_CMAKE_DIR} COMPONENT dev)
# The toolkit integrations, each a component of the package (find_package(zelvo COMPONENTS qt))
# with a targets file of its own, read only when asked for: a host without the toolkit still
# finds zelvo::zelvo.
foreach(toolkit gtk qt)
  if(TARGET zelvo_${toolkit})
    set_target_properties(zelvo_${toolkit} PROPERTIES OUTPUT_NAME zelvo-${toolkit} EXPORT_NAME ${toolkit})
    if(BUILD_SHARED_LIBS)
      set_target_properties(zelvo_${toolkit} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
    endif()
    install(TARGETS zelvo_${toolkit} EXPORT zelvo-${toolkit}-targets
      LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
      ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
    install(EXPORT zelvo-${toolkit}-targets NAMESPACE zelvo:: DESTINATION ${ZELVO_CMAKE_DIR} COMPONENT dev)
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

# The tools find the library beside them wherever the tree is installed.
foreach(tool zelvo-collector zelvo-sim)
  if(TARGET ${tool})
    set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  endif()
endforeach()
