# Cross-compiles with Debian's g++-arm-linux-gnueabihf:
#   cmake -S . -B build/arm --toolchain cmake/arm-linux-gnueabihf.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
find_program(qemu_user NAMES qemu-arm qemu-arm-static)
if(qemu_user) # runs what is built, as the tests do
  set(CMAKE_CROSSCOMPILING_EMULATOR ${qemu_user} -L /usr/arm-linux-gnueabihf)
endif()
