# Trovix's KWin effect, which reports clicks under KDE Plasma on Wayland. KWin 5.27 is built on Qt 5,
# so the effect is a CMake project of its own (effect/), configured and built from here as an external
# project: Qt 5 and the application's Qt 6 never meet in one scope. Skipped, saying why, without
# KWin's development files.
# KWin 5 keeps its effect API in kwineffects.h, KWin 6 in kwin/effect/.
find_path(TROVIX_KWIN_INCLUDE kwineffects.h)
find_path(TROVIX_KWIN6_INCLUDE kwin/effect/effect.h)
find_file(TROVIX_ECM_CONFIG ECMConfig.cmake PATHS /usr/share/ECM/cmake NO_DEFAULT_PATH)
if(NOT (TROVIX_KWIN_INCLUDE OR TROVIX_KWIN6_INCLUDE) OR NOT TROVIX_ECM_CONFIG)
    message(STATUS "Trovix's KWin effect is not built: it needs KWin's development files "
                   "(Debian: kwin-dev, extra-cmake-modules)")
    return()
endif()
set(kwin6 OFF)
set(kwin_config ${TROVIX_KWIN_INCLUDE}/kwinconfig.h)
if(NOT TROVIX_KWIN_INCLUDE)
    set(kwin6 ON)
    set(kwin_config ${TROVIX_KWIN6_INCLUDE}/kwin/config-kwin.h)
endif()
execute_process(COMMAND sh -c "sed -n 's/.*KWIN_PLUGIN_VERSION_STRING \"\\(.*\\)\"/\\1/p' ${kwin_config}"
                OUTPUT_VARIABLE TROVIX_KWIN_VERSION OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT TROVIX_KWIN_VERSION)
    message(STATUS "Trovix's KWin effect is built for KWin 6 (its exact version not found)")
else()
    message(STATUS "Trovix's KWin effect is built for KWin ${TROVIX_KWIN_VERSION}")
endif()

include(ExternalProject)
set(effect_build ${CMAKE_CURRENT_BINARY_DIR}/effect)
# Neither the sanitizers nor the application's compiler flags: the plugin runs inside KWin.
ExternalProject_Add(trovix_kwin_effect
    SOURCE_DIR ${CMAKE_CURRENT_SOURCE_DIR}/effect
    BINARY_DIR ${effect_build}
    CMAKE_ARGS -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX=${CMAKE_INSTALL_PREFIX} -DTROVIX_KWIN_6=${kwin6}
               -DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}
    BUILD_ALWAYS ON
    INSTALL_COMMAND "")
# The build tree's plugin, for tests that start KWin with QT_PLUGIN_PATH pointing here.
set(TROVIX_KWIN_PLUGIN_PATH ${effect_build}/plugins CACHE INTERNAL "")
set(TROVIX_KWIN_VERSION ${TROVIX_KWIN_VERSION} CACHE INTERNAL "")
# Into KWin's own effects folder, where the effect's project says it is (DESTDIR carries over).
install(CODE "execute_process(COMMAND \"${CMAKE_COMMAND}\" --install \"${effect_build}\" COMMAND_ERROR_IS_FATAL ANY)")
