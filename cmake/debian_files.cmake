# What Debian's policy asks of each package: a changelog, and compressed manual pages. CPack runs this before it packs.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} name)
    set(package ${CPACK_DEBIAN_${name}_PACKAGE_NAME})
    set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}/share)
    set(changelog ${share}/doc/${package}/changelog)
    file(WRITE ${changelog} "torvane (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * CHANGELOG.md in the source lists what changed.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
    file(GLOB pages ${share}/man/man*/*)
    execute_process(COMMAND gzip -9n ${changelog} ${pages} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
