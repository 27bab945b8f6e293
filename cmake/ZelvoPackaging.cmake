# Debian packages (`cpack -G DEB` in the package preset's build, as scripts/package-check.sh
# does), one per install component, so that a host wanting the tracker gets no toolkit:
#   libzelvo1         runtime  the shared library: the core on the Linux platform
#   libzelvo-dev      dev      headers, CMake package, pkg-config files, testing library, API reference
#   libzelvo-gtk1     gtk      the GTK 4 integration (when built), and libzelvo-gtk-dev (gtk_dev)
#   libzelvo-qt1      qt       the Qt 6 integration (when built), and libzelvo-qt-dev (qt_dev)
#   zelvo-tools       tools    zelvo-collector and zelvo-sim, with their manual pages
# and a <package>-dbgsym package with the debug symbols of each package holding binaries.
# dpkg-shlibdeps finds what the binaries need; the rest is stated here.
set(CPACK_PACKAGE_NAME zelvo)
set(CPACK_PACKAGE_VENDOR "Zelvo")
set(CPACK_PACKAGE_CONTACT "Zelvo developers <dev@zelvo-analytics.net>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# CPack puts the package-wide summary above every package's description unless it is CPack's
# default; each package here has a first line of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_HOMEPAGE_URL "${PROJECT_HOMEPAGE_URL}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The packages' binaries need the libraries of this very build, which no installed package
# describes yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Stripped binaries, their debug symbols in <package>-dbgsym. A shlibs file for each library
# package. cmake/debian/finish-packages.cmake finishes the packages (an ldconfig trigger, the
# debug symbols packages' md5sums and documentation).
set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/debian/finish-packages.cmake)

# The descriptions: a first line, then lines of at most 79 characters (CPack indents them).
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzelvo${PROJECT_VERSION_MAJOR})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "content-engagement analytics SDK - shared library
Zelvo is a tracker that a host application links: it counts dwell and engaged
time and sends small HTTPS GET pings.
This package holds the shared library: the tracker on the Linux platform
(libcurl, SQLite, rtnetlink).")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzelvo-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The pkg-config file names curl, SQLite and libmnl (Requires.private), which pkg-config wants
# present even for a shared link.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libcurl4-openssl-dev | libcurl-dev, libsqlite3-dev, libmnl-dev")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_DEV_DESCRIPTION "content-engagement analytics SDK - development files
Zelvo is a tracker that a host application links: it counts dwell and engaged
time and sends small HTTPS GET pings.
This package holds the headers, the CMake package (zelvo::zelvo,
zelvo::testing), the pkg-config files (zelvo, zelvo-testing), the testing
platform's static library and the API reference.")

# Each toolkit integration: its shared library, and its development files (headers and the
# CMake package's component) that bring the toolkit's own.
set(ZELVO_TOOLKIT_NAME_gtk "GTK 4")
set(ZELVO_TOOLKIT_DEV_gtk libgtk-4-dev)
set(ZELVO_TOOLKIT_NAME_qt "Qt 6")
set(ZELVO_TOOLKIT_DEV_qt qt6-base-dev)
set(ZELVO_PACKAGED_TOOLKITS)
foreach(toolkit gtk qt)
  if(NOT TARGET zelvo_${toolkit})
    continue()
  endif()
  list(APPEND ZELVO_PACKAGED_TOOLKITS ${toolkit} ${toolkit}_dev)
  string(TOUPPER ${toolkit} TOOLKIT)
  set(name "${ZELVO_TOOLKIT_NAME_${toolkit}}")
  set(CPACK_DEBIAN_${TOOLKIT}_PACKAGE_NAME libzelvo-${toolkit}${PROJECT_VERSION_MAJOR})
  set(CPACK_COMPONENT_${TOOLKIT}_DEPENDS runtime)
  set(CPACK_COMPONENT_${TOOLKIT}_DESCRIPTION "content-engagement analytics SDK - ${name} integration
Zelvo is a tracker that a host application links: it counts dwell and engaged
time and sends small HTTPS GET pings.
This package holds zelvo::${toolkit}, the tracker on the ${name} main loop, with the
toolkit's input as engagement, its window state as the foreground and its
network monitor as reachability.")
  set(CPACK_DEBIAN_${TOOLKIT}_DEV_PACKAGE_NAME libzelvo-${toolkit}-dev)
  set(CPACK_DEBIAN_${TOOLKIT}_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_${TOOLKIT}_DEV_PACKAGE_DEPENDS ${ZELVO_TOOLKIT_DEV_${toolkit}})
  set(CPACK_COMPONENT_${TOOLKIT}_DEV_DEPENDS dev ${toolkit})
  set(CPACK_COMPONENT_${TOOLKIT}_DEV_DESCRIPTION "content-engagement analytics SDK - ${name} development files
Zelvo is a tracker that a host application links: it counts dwell and engaged
time and sends small HTTPS GET pings.
This package holds the headers of zelvo::${toolkit} and its component of the
CMake package: find_package(zelvo 1 COMPONENTS ${toolkit}).")
endforeach()

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zelvo-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "content-engagement analytics SDK - development tools
Zelvo is a tracker that a host application links: it counts dwell and engaged
time and sends small HTTPS GET pings.
This package holds zelvo-collector, a local HTTPS collection service that
checks every ping it receives, and zelvo-sim, which replays a scenario file
against the library in virtual time.")

set(CPACK_COMPONENTS_ALL runtime dev ${ZELVO_PACKAGED_TOOLKITS})
if(TARGET zelvo-collector)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

# Every package carries the machine-readable copyright file and the changelog, made from
# LICENSE and CHANGELOG.md.
include(cmake/debian/ZelvoDebianDocs.cmake)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} COMPONENT)
  install(FILES ${ZELVO_DEBIAN_COPYRIGHT} ${ZELVO_DEBIAN_CHANGELOG}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME} COMPONENT ${component})
endforeach()

include(CPack)
