# Cross-compiles with Debian's g++-aarch64-linux-gnu:
#   cmake -S . -B build/aarch64 --toolchain cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
find_program(qemu_user NAMES qemu-aarch64 qemu-aarch64-static)
if(qemu_user) # runs what is built, as the tests do
  set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu_user} -L /usr/aarch64-linux-gnu)
endif()
