# Cross-building for 64-bit Arm Linux on a Debian x86-64 machine: Debian's cross compiler
# (crossbuild-essential-arm64) and the target's libraries from its :arm64 multiarch packages
# (scripts/install-deps.sh cross installs both). Test programs run under QEMU's user-mode
# emulator, which CTest puts in front of every target it runs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# Multiarch: the target's libraries and CMake packages live under /usr/lib/aarch64-linux-gnu
# beside the build machine's, and the headers in /usr/include are shared.
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
# The programs run on the C library of the :arm64 packages (libc6:arm64, which the target's
# libraries depend on), dynamic loader included. Not with -L /usr/aarch64-linux-gnu: that loader
# comes from the cross toolchain's own build of the C library while libc.so.6 is still found in
# /lib/aarch64-linux-gnu, and the two builds mixed hang in the first pthread_create.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
# pkg-config must read the target's .pc files only, never the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
