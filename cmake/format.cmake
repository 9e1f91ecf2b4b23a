# The target "format" writes the sources as .clang-format says. Versions differ in details, and CI
# checks with this one.
find_program(OXEL_CLANG_FORMAT clang-format-19)
if(OXEL_CLANG_FORMAT)
  add_custom_target(format
    COMMAND git ls-files -z "*.h" "*.cpp" "*.c" | xargs -0 ${OXEL_CLANG_FORMAT} -i
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR} VERBATIM)
else()
  add_custom_target(format
    COMMAND ${CMAKE_COMMAND} -E echo "format needs clang-format-19"
    COMMAND ${CMAKE_COMMAND} -E false)
endif()
