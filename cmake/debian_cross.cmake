# What the toolchain files share: Debian's cross-compiler of this triplet.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
string(REGEX MATCH "^[^-]+" processor ${triplet})
find_program(OXEL_EMULATOR NAMES qemu-${processor} qemu-${processor}-static)
if(OXEL_EMULATOR) # runs what is built, as the tests do
  set(CMAKE_CROSSCOMPILING_EMULATOR ${OXEL_EMULATOR} -L /usr/${triplet})
endif()
