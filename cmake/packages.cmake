# Debian packages by "cpack -G DEB", one for each component that is built. Configure with
# -DCMAKE_INSTALL_PREFIX=/usr, so that the libraries go where Debian has them. Their maintainer is
# whom DEBFULLNAME and DEBEMAIL name, as for Debian's own tools.
set(CPACK_PACKAGE_VENDOR "Oxel")
set(maintainer "Oxel developers")
set(address oxel@localhost)
if(DEFINED ENV{DEBFULLNAME})
  set(maintainer $ENV{DEBFULLNAME})
endif()
if(DEFINED ENV{DEBEMAIL})
  set(address $ENV{DEBEMAIL})
endif()
set(CPACK_PACKAGE_CONTACT "${maintainer} <${address}>")
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/documents.cmake)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)

set(extended "Turns pictures into the few colours of an e-paper panel, by error
diffusion, with tables that are made from the panel's measured colours.")
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME liboxel-morvel6-render${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "renders pictures for colour e-paper panels: library
${extended}")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME liboxel-morvel6-render-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DESCRIPTION "renders pictures for colour e-paper panels: development files
${extended}")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
if(OXEL_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tool)
  set(CPACK_DEBIAN_TOOL_PACKAGE_NAME oxel)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION graphics)
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "tzdata") # of schedules
  set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS "curl, fonts-dejavu-core")
  set(CPACK_COMPONENT_TOOL_DESCRIPTION "renders pictures for colour e-paper panels: command
${extended}")
  set(CPACK_COMPONENT_TOOL_DEPENDS runtime)
endif()
if(OXEL_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-oxel)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), python3-numpy")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pil")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "renders pictures for colour e-paper panels: Python
${extended}")
endif()
include(CPack)
