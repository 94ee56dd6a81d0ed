# The dependencies of the library. The installed CMake and pkg-config files ask for the same versions.
set(torvane_openssl_version 3.0)
set(torvane_secp256k1_module libsecp256k1>=0.2)
set(torvane_p11kit_module p11-kit-1>=0.23)

find_package(OpenSSL ${torvane_openssl_version} REQUIRED COMPONENTS Crypto)
find_package(nlohmann_json 3.11 REQUIRED)

option(TORVANE_FILES "Keys in files; without it the library opens no file" ON)
if(TORVANE_BUILD_CLI AND NOT TORVANE_FILES)
    message(FATAL_ERROR "TORVANE_BUILD_CLI needs TORVANE_FILES: the command reads keys and tokens from files")
endif()

option(TORVANE_POLICIES "Policies for received tokens, and key sets as others publish them" ON)
if(TORVANE_BUILD_CLI AND NOT TORVANE_POLICIES)
    message(FATAL_ERROR "TORVANE_BUILD_CLI needs TORVANE_POLICIES: the command checks claims and reads sets of others")
endif()

option(TORVANE_SECP256K1 "secp256k1 keys and ES256K, over libsecp256k1" ON)
if(TORVANE_SECP256K1)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(torvane_secp256k1 REQUIRED IMPORTED_TARGET ${torvane_secp256k1_module})
endif()

if(NOT DEFINED TORVANE_PKCS11 OR TORVANE_PKCS11)
    find_package(PkgConfig)
    if(PkgConfig_FOUND)
        pkg_check_modules(torvane_p11kit IMPORTED_TARGET ${torvane_p11kit_module})
    endif()
endif()
option(TORVANE_PKCS11 "Keys in PKCS #11 tokens, over p11-kit" "${torvane_p11kit_FOUND}")
if(TORVANE_PKCS11 AND NOT torvane_p11kit_FOUND)
    message(FATAL_ERROR "TORVANE_PKCS11 needs p11-kit 0.23 or later")
endif()
