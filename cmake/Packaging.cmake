# What a system install holds besides the two programs, and the Debian package made of it with
# `cpack -G DEB` in a Release tree.
set(TROVIX_ID io.github.trovix.Trovix)
# KWin gives its screenshot interface only to a program whose desktop entry runs it by its full path,
# known only when installing (cpack installs under its own prefix).
set(desktop_entry ${CMAKE_CURRENT_BINARY_DIR}/${TROVIX_ID}.desktop)
install(CODE "
    file(READ \"${PROJECT_SOURCE_DIR}/data/${TROVIX_ID}.desktop\" entry)
    string(REPLACE \"Exec=trovix\" \"Exec=\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/trovix\" entry \"\${entry}\")
    file(WRITE \"${desktop_entry}\" \"\${entry}\")")
install(FILES ${desktop_entry} DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${PROJECT_SOURCE_DIR}/data/${TROVIX_ID}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${PROJECT_SOURCE_DIR}/data/trovix.svg
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps RENAME ${TROVIX_ID}.svg)
foreach(size 48 256)
    install(FILES ${PROJECT_SOURCE_DIR}/data/icons/${TROVIX_ID}-${size}.png
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps RENAME ${TROVIX_ID}.png)
endforeach()

# Manual pages go in compressed, as Debian's policy wants them.
find_program(TROVIX_GZIP gzip REQUIRED)
set(man_pages)
foreach(page trovix.1 trovix-export.1)
    add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/man/${page}.gz
        COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_CURRENT_BINARY_DIR}/man
        COMMAND ${TROVIX_GZIP} -9n -c ${PROJECT_SOURCE_DIR}/data/man/${page} > ${CMAKE_CURRENT_BINARY_DIR}/man/${page}.gz
        DEPENDS ${PROJECT_SOURCE_DIR}/data/man/${page} VERBATIM)
    list(APPEND man_pages ${CMAKE_CURRENT_BINARY_DIR}/man/${page}.gz)
endforeach()
add_custom_target(trovix_man_pages ALL DEPENDS ${man_pages})
install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

set(CPACK_PACKAGE_NAME trovix)
set(CPACK_PACKAGE_VENDOR "The Trovix developers")
set(CPACK_PACKAGE_CONTACT "Trovix developers <trovix@users.noreply.github.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "turn screenshots into step-by-step illustrated guides")
set(CPACK_PACKAGE_DESCRIPTION "Capture regions of the screen or record clicks in other applications,\
 annotate the steps, keep guides in a library and export them as Markdown, HTML, PDF, Word (DOCX) or OpenDocument (ODT).")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://trovix.github.io/")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Qt plugins the programs load at run time: the X11, Wayland and offscreen platforms, the SVG icon.
# In a Wayland session Trovix must run on Qt's Wayland platform: on Xwayland the compositor does not
# show its capture overlay (seen in sway).
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, qt6-wayland, libqt6svg6")
# Opened at run time (screen-read click titles, accessibility bus, sound theme), so shlibdeps
# cannot see them; Trovix works without each.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "at-spi2-core, libtesseract5, tesseract-ocr-eng, xdg-desktop-portal, qt6-translations-l10n")
# The KWin effect runs in the one KWin release it was built for, which the package names without
# pulling KWin in where another desktop runs.
if(TROVIX_KWIN_VERSION)
    set(CPACK_DEBIAN_PACKAGE_BREAKS
        "kwin-common (<< 4:${TROVIX_KWIN_VERSION}~), kwin-common (>= 4:${TROVIX_KWIN_VERSION}.1~)")
endif()
set(CPACK_GENERATOR DEB)
include(CPack)
