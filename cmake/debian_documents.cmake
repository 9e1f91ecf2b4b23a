# What cpack -G DEB runs on the staged packages: each needs a copyright file and a changelog.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, if that is set
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} name)
  set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
  set(documents ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/doc/${package})
  configure_file(${CPACK_OXEL_COPYRIGHT} ${documents}/copyright COPYONLY)
  file(WRITE ${documents}/changelog
"${package} (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  execute_process(COMMAND gzip -9n ${documents}/changelog COMMAND_ERROR_IS_FATAL ANY)
endforeach()
