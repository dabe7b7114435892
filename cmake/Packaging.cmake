# The Debian package of what `cmake --install` lays out: `cmake --build BUILD --target package`
# or `cpack -G DEB` in the build folder writes BUILD/package/quillmate_<version>_<arch>.deb.

set(QUILLMATE_PACKAGE_MAINTAINER "Quillmate developers <quillmate@example.org>"
    CACHE STRING "The Maintainer field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillmate)
set(CPACK_PACKAGE_VENDOR Quillmate)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${QUILLMATE_PACKAGE_MAINTAINER})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "side panel of prepared material for customer-service agents")
# One line per control-file line, each short enough for package managers' windows.
string(CONCAT CPACK_PACKAGE_DESCRIPTION
  "客服Tavro sits beside the chat client in which an agent talks to customers,\n"
  "docks to its window and puts prepared material into it with a double-click,\n"
  "a search or a global hot key: product knowledge, common entries, company\n"
  "affairs and couriers, short phrases, stored files, tools and private notes.\n"
  "Its interface is Chinese; docking and hot keys need an X11 session.")
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/package)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# The ci and release builds carry debug information that users do not need.
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# The libraries the program links are found by dpkg-shlibdeps; what Qt loads at run time is not
# linked and must be named: the SQLite driver of the stores and the X11 platform of the panel.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite, qt6-qpa-plugins")
# The interface is Chinese, opening a stored file or link goes through xdg-open, the prompt
# sound is played by paplay or aplay, and moving a team's store to a PostgreSQL server needs Qt's
# driver for it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "fonts-wqy-microhei | fonts-noto-cjk, xdg-utils, libqt6sql6-psql")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "pulseaudio-utils | alsa-utils")

include(CPack)
