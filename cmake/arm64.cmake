# Toolchain for 64-bit ARM: Debian's cross compiler, and the libraries of Debian's arm64 packages
# (dpkg --add-architecture arm64). scripts/test-arm64 builds with it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
# So that no arm64 runtime is needed beside the libraries.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static-libstdc++ -static-libgcc")
# Not the machine's own packages.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig)
set(CMAKE_LIBRARY_PATH /usr/lib/aarch64-linux-gnu)
