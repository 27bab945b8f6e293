# Run by cpack once the Debian packages are made (CPACK_POST_BUILD_SCRIPTS, before they are
# copied out), to finish what CPack 3.25 leaves short of Debian's policy:
# - a library package gets postinst and postrm scripts that run ldconfig; they are replaced by
#   an ldconfig trigger, which dpkg runs once per installation rather than once per package;
# - a static library keeps its debug information; it is stripped of it, as dh_strip does;
# - a debug symbols package lists its files in md5sums with the absolute paths of CPack's
#   staging tree and has no documentation directory; /usr/share/doc/<package>-dbgsym becomes a
#   link to the documentation of the package whose symbols it holds (on which it depends), as
#   debhelper makes them.
# A package that changes gets its md5sums anew.
find_program(strip NAMES strip REQUIRED)
set(root ${CPACK_TOPLEVEL_DIRECTORY}/finish-root)
foreach(package_file IN LISTS CPACK_PACKAGE_FILES)
  get_filename_component(name ${package_file} NAME)
  string(REGEX MATCH "^[^_]+" package "${name}")
  file(REMOVE_RECURSE ${root})
  execute_process(COMMAND dpkg-deb --raw-extract ${package_file} ${root} COMMAND_ERROR_IS_FATAL ANY)
  file(GLOB_RECURSE static_libraries ${root}/usr/*.a)
  if(EXISTS ${root}/DEBIAN/shlibs)
    file(REMOVE ${root}/DEBIAN/postinst ${root}/DEBIAN/postrm)
    file(WRITE ${root}/DEBIAN/triggers "activate-noawait ldconfig\n")
  elseif(static_libraries)
    execute_process(COMMAND ${strip} --strip-debug --remove-section=.comment ${static_libraries}
      COMMAND_ERROR_IS_FATAL ANY)
  elseif(package MATCHES "-dbgsym$")
    string(REGEX REPLACE "-dbgsym$" "" parent "${package}")
    file(MAKE_DIRECTORY ${root}/usr/share/doc)
    file(CREATE_LINK ${parent} ${root}/usr/share/doc/${package} SYMBOLIC)
  else()
    continue()
  endif()
  file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE ${root} ${root}/usr/*)
  set(sums "")
  foreach(file IN LISTS files)
    if(NOT IS_SYMLINK ${root}/${file})
      file(MD5 ${root}/${file} sum)
      string(APPEND sums "${sum}  ${file}\n")
    endif()
  endforeach()
  file(WRITE ${root}/DEBIAN/md5sums "${sums}")
  execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip --build ${root} ${package_file}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(REMOVE_RECURSE ${root})
