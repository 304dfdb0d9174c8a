# Cross toolchain: Linux / 32-bit ARM hard-float (armhf) on a Debian 12 x86-64 host.
# Needs: g++-arm-linux-gnueabihf, qemu-user, and multiarch armhf -dev packages
# (libjsoncpp-dev:armhf libgtest-dev:armhf libgmock-dev:armhf) - installed by scripts/install-deps.sh armhf.
# Use:  cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/armhf.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(ARMHF_TRIPLET arm-linux-gnueabihf)
set(CMAKE_C_COMPILER   ${ARMHF_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${ARMHF_TRIPLET}-g++)

# Debian multiarch: armhf libraries + CMake package configs live in
# /usr/lib/arm-linux-gnueabihf, headers in /usr/include (shared with amd64),
# the cross C/C++ runtime in /usr/arm-linux-gnueabihf.
set(CMAKE_LIBRARY_ARCHITECTURE ${ARMHF_TRIPLET})
set(CMAKE_FIND_ROOT_PATH /usr/${ARMHF_TRIPLET} /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)   # build tools run on the host
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config: only look at armhf .pc files (never the amd64 ones).
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${ARMHF_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

# Run target binaries (try_run, gtest_discover_tests, ctest) under user-mode qemu.
# -L / : use the multiarch armhf glibc (libc6:armhf, /lib/ld-linux-armhf.so.3), which is
# what also provides libjsoncpp/libstdc++ at run time; keeps ld.so and libc.so from one build.
find_program(ARMHF_QEMU NAMES qemu-arm qemu-arm-static REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${ARMHF_QEMU} -L /)
