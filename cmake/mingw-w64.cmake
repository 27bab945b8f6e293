# Cross-compiles for 64-bit Windows with Debian's mingw-w64 (the posix-threads flavour, whose
# libstdc++ has std::thread and std::mutex). Used by the `windows` preset; the test programs run
# under Wine. The libraries built for the target (SQLite, GoogleTest) and the header-only ones
# come from ZELVO_WINDOWS_DEPS, which scripts/windows-deps.sh fills.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

if(NOT ZELVO_WINDOWS_DEPS)
  get_filename_component(ZELVO_WINDOWS_DEPS ${CMAKE_CURRENT_LIST_DIR}/../build/windows-deps ABSOLUTE)
endif()
set(ZELVO_WINDOWS_DEPS ${ZELVO_WINDOWS_DEPS} CACHE PATH "Libraries built for Windows (scripts/windows-deps.sh)")
# Only the target's files: nothing of the build machine's /usr may reach a Windows program.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${ZELVO_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Self-contained programs: the C and C++ runtimes and winpthreads linked in, so neither a test
# under Wine nor a host needs the toolchain's DLLs beside them.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

# ctest and GoogleTest's discovery run every test program through Wine. The test preset sets
# WINEPREFIX and WINEDEBUG; scripts/windows-test.sh starts a persistent wineserver first.
find_program(ZELVO_WINE NAMES wine64 PATHS /usr/lib/wine NO_DEFAULT_PATH)
if(ZELVO_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${ZELVO_WINE})
endif()
