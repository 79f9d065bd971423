# The Debian package: "cpack -G DEB" in the build folder makes
# velda-viewer_<version>_<arch>.deb of what "cmake --install" puts under
# /usr. Dependencies come from dpkg-shlibdeps; beside them what it cannot
# see: the IFC library (its package declares no shared-library info), the
# SVG plugin that draws the window icon, and a font for the Chinese texts.
# The package's documents: copyright, changelog and the viewer's manual page
# (both compressed as Debian keeps them).
set(VELDA_DOCS ${CMAKE_BINARY_DIR}/docs)
add_custom_command(OUTPUT ${VELDA_DOCS}/changelog.gz ${VELDA_DOCS}/velda-viewer.1.gz
  COMMAND ${CMAKE_COMMAND} -E make_directory ${VELDA_DOCS}
  COMMAND ${CMAKE_COMMAND} -E copy ${CMAKE_SOURCE_DIR}/resources/debian/changelog ${CMAKE_SOURCE_DIR}/resources/velda-viewer.1
          ${VELDA_DOCS}
  COMMAND gzip -9nf ${VELDA_DOCS}/changelog ${VELDA_DOCS}/velda-viewer.1
  DEPENDS ${CMAKE_SOURCE_DIR}/resources/debian/changelog ${CMAKE_SOURCE_DIR}/resources/velda-viewer.1
  COMMENT "Compressing the changelog and the manual page")
add_custom_target(package_docs ALL DEPENDS ${VELDA_DOCS}/changelog.gz ${VELDA_DOCS}/velda-viewer.1.gz)
install(FILES ${CMAKE_SOURCE_DIR}/resources/debian/copyright ${VELDA_DOCS}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/velda-viewer)
install(FILES ${VELDA_DOCS}/velda-viewer.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

set(CPACK_PACKAGE_NAME velda-viewer)
set(CPACK_PACKAGE_VENDOR "Velda Viewer developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "viewer for large 3D model projects and building models")
set(CPACK_PACKAGE_DESCRIPTION "Velda Viewer opens IFC building models and 3D model files (glTF, OBJ, FBX,
COLLADA, 3DS, PLY, STL and more) in one command or from the desktop, or
streams large projects from its web service through a disk cache. Saved
views with thumbnails, sun and shadows, a mini map, and the tools to pack
models and serve projects (velda-pack, velda-service, velda-render).")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Velda Viewer developers <velda-viewer@example.org>")
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libifcplusplus, libqt5svg5, fonts-wqy-microhei")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
include(CPack)
