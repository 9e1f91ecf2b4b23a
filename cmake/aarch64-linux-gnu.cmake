# Cross-compiles with Debian's g++-aarch64-linux-gnu:
#   cmake -S . -B build/aarch64 --toolchain cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triplet aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)
