# What is installed, and the package that `cpack` makes of it: an archive for Windows, a Debian package for Linux.
# scripts/package calls this in a way that gives the same bytes for the same input.
if(WIN32)
  install(TARGETS Quorvel LIBRARY DESTINATION .)
  foreach(text IN ITEMS packaging/windows/INSTALL.txt packaging/windows/THIRD-PARTY.txt LICENSE)
    get_filename_component(name "${text}" NAME_WE)
    configure_file("${text}" "packaging/${name}.txt" @ONLY NEWLINE_STYLE WIN32)
    install(FILES "${PROJECT_BINARY_DIR}/packaging/${name}.txt" DESTINATION .)
  endforeach()
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME "Quorvel-${PROJECT_VERSION}-windows-x64")
else()
  install(TARGETS Quorvel LIBRARY DESTINATION lib/quorvel)
  # Its resource description, which `quorvel inspect` looks for beside the module.
  install(FILES "${PROJECT_BINARY_DIR}/Quorvel.rsrc" DESTINATION lib/quorvel)
  if(QUORVEL_BUILD_CLI)
    install(TARGETS quorvel RUNTIME DESTINATION bin)
  endif()
  install(FILES packaging/debian/copyright DESTINATION share/doc/quorvel)
  set(CPACK_GENERATOR DEB)
  set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
  set(CPACK_DEBIAN_PACKAGE_NAME quorvel)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Quorvel developers <developers@quorvel.invalid>")
  set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_DEPENDS "fonts-inter | fonts-dejavu-core")  # the panel's lettering
  set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Adaptive mosaic effect for pictures and video frames")
  set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "\
Turns a picture into a mosaic of flat rectangles that is finest where the picture is busy. The program renders\n\
pictures through the same effect module that video hosts load.")
endif()

set(CPACK_PACKAGE_NAME Quorvel)
set(CPACK_PACKAGE_VENDOR "The Quorvel developers")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY "${PROJECT_BINARY_DIR}/packages")
include(CPack)
