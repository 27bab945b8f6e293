# Run by cpack once the Debian packages are made (CPACK_POST_BUILD_SCRIPTS, before they are
# copied out), to finish what CPack 3.25 leaves short of Debian's policy:
# - a library package gets postinst and postrm scripts that run ldconfig; they are replaced by
#   an ldconfig trigger, which dpkg runs once per installation rather than once per package;
# - a debug symbols package lists its files in md5sums with the absolute paths of CPack's
#   staging tree and has no documentation directory; it gets md5sums relative to the root, and
#   /usr/share/doc/<package>-dbgsym becomes a link to the documentation of the package whose
#   symbols it holds (on which it depends), as debhelper makes them.
set(root ${CPACK_TOPLEVEL_DIRECTORY}/finish-root)
foreach(package_file IN LISTS CPACK_PACKAGE_FILES)
  get_filename_component(name ${package_file} NAME)
  string(REGEX MATCH "^[^_]+" package "${name}")
  file(REMOVE_RECURSE ${root})
  execute_process(COMMAND dpkg-deb --raw-extract ${package_file} ${root} COMMAND_ERROR_IS_FATAL ANY)
  if(EXISTS ${root}/DEBIAN/shlibs)
    file(REMOVE ${root}/DEBIAN/postinst ${root}/DEBIAN/postrm)
    file(WRITE ${root}/DEBIAN/triggers "activate-noawait ldconfig\n")
  elseif(package MATCHES "-dbgsym$")
    file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE ${root} ${root}/usr/*)
    set(sums "")
    foreach(file IN LISTS files)
      file(MD5 ${root}/${file} sum)
      string(APPEND sums "${sum}  ${file}\n")
    endforeach()
    file(WRITE ${root}/DEBIAN/md5sums "${sums}")
    string(REGEX REPLACE "-dbgsym$" "" parent "${package}")
    file(MAKE_DIRECTORY ${root}/usr/share/doc)
    file(CREATE_LINK ${parent} ${root}/usr/share/doc/${package} SYMBOLIC)
  else()
    continue()
  endif()
  execute_process(COMMAND dpkg-deb --root-owner-group --build ${root} ${package_file}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(REMOVE_RECURSE ${root})
