# shellcheck shell=bash
# Sourced by the shell tests that run programs under Wine, in a folder of their own. Sets up Wine's
# folder and starts the services of Wine, as cmake/start_wine.cmake.in does for CTest.
: "${WINEPREFIX:?must name a folder for Wine, which may be new}"
# Wine converts what the shell passes on. It offers to install .NET and a browser, and writes menus into
# the home folder.
export LC_ALL=C.UTF-8 WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='
timeout 120 wineboot >wineboot.log 2>&1 </dev/null || { cat wineboot.log >&2; exit 1; }
export WINEDEBUG=-all
