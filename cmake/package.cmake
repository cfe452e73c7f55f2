# `cpack -G DEB` in the build folder: one Debian package holding everything `cmake --install` puts
# in place, under /usr.
set(CPACK_PACKAGE_NAME kazaifilterplugin)
set(CPACK_PACKAGE_VENDOR "kazAiFilterPlugin")
set(CPACK_PACKAGE_CONTACT "kazAiFilterPlugin maintainers <kazaifilterplugin@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
  "AI video effects plug-in for non-linear editors, with its AI runtime and the kazfx host")
set(CPACK_PACKAGE_INSTALL_DIRECTORY kazAiFilterPlugin)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
# dpkg-shlibdeps names the packages of every library the binaries link (OpenCV 4.6's libopencv-*406,
# libtinyxml2-9, libstdc++6, libc6, libgcc-s1), with their versions. nlohmann-json is header-only:
# nothing of it is needed at run time.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The classical backend's face cascade; kazfx-models fetches with npm and converts with Python.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "opencv-data")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "npm, python3-onnx, python3-numpy")
include(CPack)
