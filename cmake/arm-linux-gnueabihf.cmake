# Cross-compiles with Debian's g++-arm-linux-gnueabihf:
#   cmake -S . -B build/arm --toolchain cmake/arm-linux-gnueabihf.cmake
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
