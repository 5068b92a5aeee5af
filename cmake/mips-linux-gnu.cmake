# Cross build for the gateway's CPU: 32-bit big-endian MIPS with glibc, using
# Debian's mips-linux-gnu cross compilers (g++-mips-linux-gnu).
#
#   cmake -S . -B build-mips --preset mips        (or)
#   cmake -S . -B build-mips -DCMAKE_TOOLCHAIN_FILE=cmake/mips-linux-gnu.cmake
#
# libstdc++ and libgcc are linked statically, so the program needs only the C
# library on the gateway. Programs built here run on the workstation through
# qemu-mips (CMAKE_CROSSCOMPILING_EMULATOR), which is how the tests use them.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)

set(SYS_MIPS_TRIPLET mips-linux-gnu)
set(CMAKE_C_COMPILER ${SYS_MIPS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${SYS_MIPS_TRIPLET}-g++)
# Debian installs the target's C library and headers here.
set(SYS_MIPS_SYSROOT /usr/${SYS_MIPS_TRIPLET})

set(CMAKE_FIND_ROOT_PATH ${SYS_MIPS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The workstation's .pc files describe workstation libraries.
set(ENV{PKG_CONFIG_LIBDIR} ${SYS_MIPS_SYSROOT}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# Small code first: the gateway's flash is measured in kilobytes. Unused
# functions and data are dropped at link time. _GLIBCXX_ASSERTIONS checks
# container indexing and also makes every std::string member inline here
# instead of taking libstdc++'s prebuilt copy, which is compiled with
# exceptions and would bring the whole exception runtime along. Programs are
# position-dependent like the rest of the gateway's userland: a PIE carries
# about 7 KiB more of relocations and GOT-relative calls.
set(CMAKE_C_FLAGS_INIT "-ffunction-sections -fdata-sections -fno-pie")
set(CMAKE_CXX_FLAGS_INIT "-ffunction-sections -fdata-sections -fno-pie -D_GLIBCXX_ASSERTIONS")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-no-pie -static-libstdc++ -static-libgcc -Wl,--gc-sections")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-mips -L ${SYS_MIPS_SYSROOT})

# Debian ships Mini-XML, zlib and GoogleTest for the workstation only; this
# builds the ones the simulated platform and the unit tests need for the
# target, right after project(sys).
set(CMAKE_PROJECT_sys_INCLUDE ${CMAKE_CURRENT_LIST_DIR}/mips-target-deps.cmake)
