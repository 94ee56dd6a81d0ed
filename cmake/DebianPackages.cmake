# `cpack` makes one .deb per component.
set(CPACK_GENERATOR DEB)
# The field "Maintainer" must contain an address, and none is published yet. Names in ".invalid" never exist (RFC 2606).
set(CPACK_PACKAGE_CONTACT "The Torvane developers <no-address@torvane.invalid>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/torvane)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian_files.cmake)

set(CPACK_COMPONENTS_ALL runtime development)
set(runtime_package libtorvane${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared library.")
# dpkg updates the linker's cache on this trigger. CPack would add two scripts for that, unless it has others to copy;
# these two do not exist.
file(WRITE ${PROJECT_BINARY_DIR}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${PROJECT_BINARY_DIR}/triggers ${PROJECT_BINARY_DIR}/none/postinst ${PROJECT_BINARY_DIR}/none/postrm)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtorvane-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, and what CMake and pkg-config read.")

if(TARGET torvane_cli)
    list(APPEND CPACK_COMPONENTS_ALL command)
    set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME torvane)
    set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
    set(CPACK_DEBIAN_COMMAND_PACKAGE_DEPENDS "${runtime_package} (= ${PROJECT_VERSION})")
    set(CPACK_COMPONENT_COMMAND_DESCRIPTION "The command, its manual page and completions.")
    get_directory_property(CLI11_VERSION DIRECTORY ${PROJECT_SOURCE_DIR}/cli DEFINITION CLI11_VERSION)
endif()

# scripts/sbom.py reads these versions.
file(CONFIGURE OUTPUT built_with.json @ONLY CONTENT [[{
    "OpenSSL": "@OPENSSL_VERSION@",
    "nlohmann_json": "@nlohmann_json_VERSION@",
    "torvane_secp256k1": "@torvane_secp256k1_VERSION@",
    "torvane_p11kit": "@torvane_p11kit_VERSION@",
    "CLI11": "@CLI11_VERSION@"
}
]])

include(CPack)
