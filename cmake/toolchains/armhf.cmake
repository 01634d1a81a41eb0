set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(emulator qemu-arm-static)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)  # no notes on what g++ 7.1 changed in passing arguments
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
