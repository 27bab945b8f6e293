# Debian packages (`cpack -G DEB` in a Release build with BUILD_SHARED_LIBS=ON, as
# scripts/package-check.sh does): libzelvo1 (the shared library), libzelvo-dev (headers, CMake
# and pkg-config files, the testing library, the API reference) and zelvo-tools (zelvo-collector,
# zelvo-sim). dpkg-shlibdeps finds what the binaries need; the rest is stated here.
set(CPACK_PACKAGE_NAME zelvo)
set(CPACK_PACKAGE_VENDOR "Zelvo")
set(CPACK_PACKAGE_CONTACT "Zelvo developers <dev@zelvo-analytics.net>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_HOMEPAGE_URL "${PROJECT_HOMEPAGE_URL}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools need the library of this very build, which no installed package describes yet.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzelvo${PROJECT_VERSION_MAJOR})
# A shlibs file (and the ldconfig trigger) for the package holding the shared library.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# Each package's description follows the common summary line.
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Zelvo is a tracker a host application links: it \
counts dwell and engaged time and sends small HTTPS GET pings. This package holds the shared library.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzelvo-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# The pkg-config file names curl, SQLite and libmnl (Requires.private), which pkg-config wants
# present even for a shared link.
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libcurl4-openssl-dev | libcurl-dev, libsqlite3-dev, libmnl-dev")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_DEV_DESCRIPTION "Development files of Zelvo: headers, CMake package \
(zelvo::zelvo, zelvo::testing), pkg-config files (zelvo, zelvo-testing), the testing platform \
library and the API reference.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME zelvo-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "Zelvo's tools: zelvo-collector, a local HTTPS \
collection service that checks every ping it receives, and zelvo-sim, which replays a scenario \
file against the library in virtual time.")

include(CPack)
