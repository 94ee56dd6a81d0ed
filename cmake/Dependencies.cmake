# The dependencies of the library. The installed CMake and pkg-config files ask for the same versions.
set(torvane_openssl_version 3.0)
set(torvane_secp256k1_module libsecp256k1>=0.2)
set(torvane_p11kit_module p11-kit-1>=0.23)

find_package(OpenSSL ${torvane_openssl_version} REQUIRED COMPONENTS Crypto)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(torvane_secp256k1 REQUIRED IMPORTED_TARGET ${torvane_secp256k1_module})
pkg_check_modules(torvane_p11kit IMPORTED_TARGET ${torvane_p11kit_module})
option(TORVANE_PKCS11 "Keys in PKCS #11 tokens, over p11-kit" ${torvane_p11kit_FOUND})
if(TORVANE_PKCS11 AND NOT torvane_p11kit_FOUND)
    message(FATAL_ERROR "TORVANE_PKCS11 needs p11-kit 0.23 or later")
endif()
