# Installs the command, which finds the library beside itself wherever both are put. It is linked once
# more for that: CMake ends the run path of what it rewrites with an empty part, and an empty part is
# the current folder, where anyone may have put a library.
file(RELATIVE_PATH libraries_from_command
  ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
add_executable(oxel_installed $<TARGET_OBJECTS:oxel_main>)
target_link_libraries(oxel_installed PRIVATE oxel_commands)
set_target_properties(oxel_installed PROPERTIES
  OUTPUT_NAME oxel
  BUILD_WITH_INSTALL_RPATH ON
  INSTALL_RPATH $ORIGIN/${libraries_from_command})

install(TARGETS oxel_installed RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
install(TARGETS oxel_decoder RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/oxel COMPONENT tool)
configure_file(${PROJECT_SOURCE_DIR}/cmake/oxel.service.in oxel.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/oxel.service DESTINATION lib/systemd/system
  COMPONENT tool)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/serve.toml DESTINATION ${CMAKE_INSTALL_DATADIR}/oxel
  COMPONENT tool)
install(DIRECTORY panels DESTINATION ${CMAKE_INSTALL_DATADIR}/oxel COMPONENT tool
  FILES_MATCHING PATTERN *.json)
# The page, if it has been built.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/web/site/ DESTINATION ${CMAKE_INSTALL_DATADIR}/oxel/site
  COMPONENT tool OPTIONAL)
