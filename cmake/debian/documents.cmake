# What cpack -G DEB runs on the staged packages: each needs a copyright file and a changelog, and man
# pages are compressed.
foreach(program file dpkg-shlibdeps gzip)
  find_program(path_of_${program} ${program})
  if(NOT path_of_${program})
    message(FATAL_ERROR "Packages for Debian need ${program}: install file and dpkg-dev")
  endif()
endforeach()
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, if that is set
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share)
  set(documents ${share}/doc/${package})
  file(COPY ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${documents})
  file(WRITE ${documents}/changelog
"${package} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  file(GLOB pages ${share}/man/man1/*.1)
  execute_process(COMMAND gzip -9n ${documents}/changelog ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
