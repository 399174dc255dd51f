# Installed layout and the Debian package.
#
# The console reads its legal notice and, without -i, its INI file from the
# folder of its executable, so the executable gets a folder of its own under
# lib/ with a link in bin/. The INI file there is a link to the one under /etc,
# which dpkg keeps as a configuration file across upgrades.
if(NOT TARGET zarvo-console)
  return()
endif()

include(GNUInstallDirs)
# lib/, not the multiarch LIBDIR: the folder holds a program, not a library.
set(ZRV_INSTALL_APPDIR lib/zarvo-console)
# /etc for the /usr prefix, <prefix>/etc otherwise (GNUInstallDirs' rule).
set(ZRV_INSTALL_CONFDIR ${CMAKE_INSTALL_FULL_SYSCONFDIR}/zarvo-console)

install(TARGETS zarvo-console RUNTIME DESTINATION ${ZRV_INSTALL_APPDIR})
install(FILES ${PROJECT_SOURCE_DIR}/resources/copyright.txt DESTINATION ${ZRV_INSTALL_APPDIR})
install(FILES ${PROJECT_SOURCE_DIR}/resources/copyright.txt
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/zarvo-console RENAME copyright)
install(FILES ${PROJECT_SOURCE_DIR}/resources/zarvo-console.ini DESTINATION ${ZRV_INSTALL_CONFDIR})
install(FILES ${PROJECT_SOURCE_DIR}/resources/zarvo-console.desktop
        DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
foreach(size 16 24 32 48 64 128 256)
  install(FILES ${PROJECT_SOURCE_DIR}/resources/icons/hicolor/${size}x${size}/zarvo-console.png
          DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/resources/icons/logo.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME zarvo-console.svg)

# The links are made at install time under DESTDIR, the staging root of the
# package included. The bin link is relative so the tree can be moved; the INI
# link names the configuration file where the installed system has it.
install(CODE "
  set(zrv_root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
  file(MAKE_DIRECTORY \"\${zrv_root}/${CMAKE_INSTALL_BINDIR}\")
  file(CREATE_LINK \"../${ZRV_INSTALL_APPDIR}/zarvo-console\"
       \"\${zrv_root}/${CMAKE_INSTALL_BINDIR}/zarvo-console\" SYMBOLIC)
  file(CREATE_LINK \"${ZRV_INSTALL_CONFDIR}/zarvo-console.ini\"
       \"\${zrv_root}/${ZRV_INSTALL_APPDIR}/zarvo-console.ini\" SYMBOLIC)
")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zarvo-console)
set(CPACK_PACKAGE_VENDOR Brenvik)
set(CPACK_PACKAGE_CONTACT "Brenvik <zarvo-console@brenvik.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Administration console for Zarvo meetings")
set(CPACK_PACKAGE_DESCRIPTION
    "Creates, runs and moderates meetings on the Zarvo platform, and manages their assets, asset bundles, storage, logs and ban list.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# The /etc file is an absolute destination; it only lands in the package's
# staging root when CPack installs through DESTDIR.
set(CPACK_SET_DESTDIR ON)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
# dpkg-shlibdeps names the Qt, libcurl and OpenSSL packages of the build machine.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The Svg module is loaded as a plugin for the .svg icons, which shlibdeps cannot see.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt5svg5")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "hicolor-icon-theme")
set(zrv_conffiles ${CMAKE_BINARY_DIR}/debian/conffiles)
file(WRITE ${zrv_conffiles} "${ZRV_INSTALL_CONFDIR}/zarvo-console.ini\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${zrv_conffiles})
include(CPack)
