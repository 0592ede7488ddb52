# Installing and packaging. `cmake --install` puts ostrelvan, ostrelvan-hook and (once it exists)
# ostrelvan-desktop side by side in bin, with the desktop entry and the icon under share; `cpack`
# makes a .deb of that. On macOS the desktop app is Ostrelvan.app with the other two in
# Contents/MacOS, where the app looks for the helper it installs.
include(GNUInstallDirs)

set(OSTRELVAN_BUILD_NUMBER "1" CACHE STRING
    "CFBundleVersion of the macOS app; 1 marks an unversioned build, for which updates stay off")
set(OSTRELVAN_SPARKLE_FEED_URL "" CACHE STRING "SUFeedURL of the macOS app (an https appcast)")
set(OSTRELVAN_SPARKLE_PUBLIC_KEY "" CACHE STRING
    "SUPublicEDKey of the macOS app: the base64 Ed25519 key that signs updates")

if(TARGET ostrelvan-desktop)
    if(APPLE)
        set_target_properties(ostrelvan-desktop PROPERTIES
            MACOSX_BUNDLE TRUE
            OUTPUT_NAME Ostrelvan
            MACOSX_BUNDLE_INFO_PLIST ${PROJECT_SOURCE_DIR}/resources/Info.plist.in
            MACOSX_BUNDLE_BUNDLE_NAME Ostrelvan
            MACOSX_BUNDLE_GUI_IDENTIFIER org.ostrelvan.Ostrelvan
            MACOSX_BUNDLE_SHORT_VERSION_STRING ${PROJECT_VERSION}
            MACOSX_BUNDLE_BUNDLE_VERSION ${OSTRELVAN_BUILD_NUMBER})
        # The bundle's post-build copies are in desktop/, where the target is made.
        if(OSTRELVAN_SPARKLE)
            set_target_properties(ostrelvan-desktop PROPERTIES
                INSTALL_RPATH "@executable_path/../Frameworks"
                BUILD_WITH_INSTALL_RPATH TRUE)
        endif()
        install(TARGETS ostrelvan-desktop BUNDLE DESTINATION .)
    else()
        install(TARGETS ostrelvan-desktop RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
        install(FILES ${PROJECT_SOURCE_DIR}/resources/ostrelvan.desktop
                DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
        install(FILES ${PROJECT_SOURCE_DIR}/resources/ostrelvan.svg
                DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
    endif()
endif()

if(NOT APPLE)
    set(CPACK_GENERATOR DEB)
    set(CPACK_PACKAGE_NAME ostrelvan)
    set(CPACK_PACKAGE_VENDOR Ostrelvan)
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
        "Every Claude Code session on this machine at a glance")
    string(CONCAT CPACK_PACKAGE_DESCRIPTION
        "A floating widget, a tray menu and a command line that show what every Claude Code\n"
        "session is doing: working, waiting for approval, finished and waiting for review,\n"
        "or idle. ostrelvan-hook is the small helper that Claude Code runs on its hook events.")
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
    set(CPACK_STRIP_FILES ON)
    set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
    set(CPACK_DEBIAN_PACKAGE_SECTION devel)
    if(NOT CPACK_DEBIAN_PACKAGE_MAINTAINER)
        set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Ostrelvan maintainers <maintainers@ostrelvan.invalid>")
    endif()
    # The libraries come from the binaries themselves; Qt's platform plugins are loaded at run
    # time, so no library scan finds them.
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
    if(TARGET ostrelvan-desktop)
        set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins")
        # Sounds reach PulseAudio or PipeWire's Pulse server through this backend, in this theme;
        # the widget's text is set in these typefaces.
        set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
            "libcanberra-pulse, sound-theme-freedesktop, fonts-inter, fonts-manrope")
    endif()
    include(CPack)
endif()
