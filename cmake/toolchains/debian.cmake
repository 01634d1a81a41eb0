# Cross-building on Debian, with the compiler and the development packages of another architecture (scripts/setup --cross)
# and the emulator for its programs. The files beside this one include it, with `triplet` and `emulator` set.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator})
# The pkg-config of this machine looks here instead of in its own directories.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${triplet}/pkgconfig:/usr/share/pkgconfig)
