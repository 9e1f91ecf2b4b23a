# Installs the library and its headers, and the files by which pkg-config and CMake find them.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Oxel_Morvel6_render)

function(install_library kind name)
  set_target_properties(oxel_${kind} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS oxel_${kind} EXPORT Oxel_Morvel6_render-${kind}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
    INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT Oxel_Morvel6_render-${kind} DESTINATION ${package_dir} NAMESPACE Oxel::
    COMPONENT dev)
endfunction()

if(TARGET oxel_shared)
  install_library(shared Morvel6_render)
endif()
if(TARGET oxel_static)
  install_library(static Morvel6_render_static)
endif()

install(FILES ${PROJECT_SOURCE_DIR}/include/Oxel_Morvel6_render.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

configure_file(${PROJECT_SOURCE_DIR}/cmake/Oxel_Morvel6_renderConfig.cmake.in
  Oxel_Morvel6_renderConfig.cmake COPYONLY)
write_basic_package_version_file(Oxel_Morvel6_renderConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/Oxel_Morvel6_renderConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/Oxel_Morvel6_renderConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT dev)

file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(${PROJECT_SOURCE_DIR}/cmake/Oxel_Morvel6_render.pc.in Oxel_Morvel6_render.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/Oxel_Morvel6_render.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
