# `cpack` (or the target `package`): a Debian package of everything that is installed; elsewhere an archive.
set(CPACK_GENERATOR DEB)
if(APPLE)
  set(CPACK_GENERATOR TGZ)
endif()
set(CPACK_PACKAGE_NAME quill-project-tool)
set(CPACK_PACKAGE_VENDOR "Quill developers")
set(CPACK_PACKAGE_CONTACT "Quill developers <quill@localhost>")
set(CPACK_PACKAGE_DESCRIPTION
  "quill_project_tool creates projects of a 3-D scene environment and keeps their\nversion history: workspaces, \
revisions, verified restores. With it come the\nlibrary that other programs link, its headers and the engine, libtome.")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
# What the tool and libtome link is looked up by dpkg-shlibdeps; the other way round, packages that link libtome are
# told of this one.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
