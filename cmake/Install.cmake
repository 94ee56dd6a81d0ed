# What `cmake --install` installs, in three components: "runtime", "development" and "command".
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(
    TARGETS torvane
    EXPORT torvaneTargets
    RUNTIME COMPONENT runtime
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development
    FILE_SET HEADERS COMPONENT development
    FILE_SET generated COMPONENT development)

# find_package(torvane CONFIG)
get_target_property(torvane_type torvane TYPE)
set(torvane_cmake_folder ${CMAKE_INSTALL_LIBDIR}/cmake/torvane)
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/torvaneConfig.cmake.in ${PROJECT_BINARY_DIR}/torvaneConfig.cmake
    INSTALL_DESTINATION ${torvane_cmake_folder} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/torvaneConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(
    FILES ${PROJECT_BINARY_DIR}/torvaneConfig.cmake ${PROJECT_BINARY_DIR}/torvaneConfigVersion.cmake
    DESTINATION ${torvane_cmake_folder}
    COMPONENT development)
install(
    EXPORT torvaneTargets
    NAMESPACE torvane::
    DESTINATION ${torvane_cmake_folder}
    COMPONENT development)

# pkg-config, with paths that stay right when the prefix is moved.
set(pc_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pc ${pc_folder} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH include_from_pc ${pc_folder} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
# A program that links with the static library also needs the libraries that it uses, by name: with --static, their own
# files may ask for libraries without development packages.
set(needed_libraries)
if(torvane_type STREQUAL "STATIC_LIBRARY")
    cmake_path(GET OPENSSL_CRYPTO_LIBRARY PARENT_PATH openssl_folder)
    set(needed_libraries -L${openssl_folder} -lcrypto)
    if(WIN32)
        list(APPEND needed_libraries -ladvapi32)
    endif()
    if(TORVANE_SECP256K1)
        list(APPEND needed_libraries ${torvane_secp256k1_LDFLAGS})
    endif()
    if(TORVANE_PKCS11)
        list(APPEND needed_libraries ${torvane_p11kit_LDFLAGS})
    endif()
    list(REMOVE_DUPLICATES needed_libraries)
    list(JOIN needed_libraries " " needed_libraries)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/torvane.pc.in ${PROJECT_BINARY_DIR}/torvane.pc @ONLY)
install(
    FILES ${PROJECT_BINARY_DIR}/torvane.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)

# The command looks for the shared library in its own prefix, except under /usr, where the system finds it.
if(TARGET torvane_cli AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH library_from_command ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(torvane_cli PROPERTIES INSTALL_RPATH $ORIGIN/${library_from_command})
endif()

if(PROJECT_IS_TOP_LEVEL AND torvane_type STREQUAL "SHARED_LIBRARY")
    include(${CMAKE_CURRENT_LIST_DIR}/DebianPackages.cmake)
endif()
