# The two files every Debian package carries in /usr/share/doc/<package>/: a machine-readable
# copyright file made from LICENSE, and changelog.gz made from CHANGELOG.md (changelog.awk).
# Sets ZELVO_DEBIAN_COPYRIGHT and ZELVO_DEBIAN_CHANGELOG.
set(dir ${PROJECT_BINARY_DIR}/debian)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_CURRENT_LIST_DIR}/changelog.awk)

file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
if(NOT license MATCHES "^MIT License\n+Copyright \\(c\\) ([^\n]+)\n+(.*[^\n])\n*$")
  message(FATAL_ERROR "LICENSE is not the MIT License's text: update ${CMAKE_CURRENT_LIST_FILE}")
endif()
set(holders "${CMAKE_MATCH_1}")
# The license text as a field's continuation lines: indented, an empty line written as ".".
string(REPLACE "\n\n" "\n.\n" text "${CMAKE_MATCH_2}")
string(REPLACE "\n" "\n " text "${text}")
set(ZELVO_DEBIAN_COPYRIGHT ${dir}/copyright)
file(WRITE ${ZELVO_DEBIAN_COPYRIGHT} "\
Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: ${PROJECT_NAME}
Upstream-Contact: ${CPACK_PACKAGE_CONTACT}
Source: ${PROJECT_HOMEPAGE_URL}

Files: *
Copyright: ${holders}
License: Expat

License: Expat
 ${text}
")

# Dated SOURCE_DATE_EPOCH when it is set (a reproducible build), otherwise now.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
find_program(ZELVO_AWK NAMES awk REQUIRED)
find_program(ZELVO_GZIP NAMES gzip REQUIRED)
execute_process(
  COMMAND ${ZELVO_AWK} -v version=${PROJECT_VERSION} -v "maintainer=${CPACK_PACKAGE_CONTACT}" -v "date=${date}"
    -f ${CMAKE_CURRENT_LIST_DIR}/changelog.awk ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  OUTPUT_FILE ${dir}/changelog COMMAND_ERROR_IS_FATAL ANY)
set(ZELVO_DEBIAN_CHANGELOG ${dir}/changelog.gz)
execute_process(COMMAND ${ZELVO_GZIP} -9nc ${dir}/changelog OUTPUT_FILE ${ZELVO_DEBIAN_CHANGELOG}
  COMMAND_ERROR_IS_FATAL ANY)
