# openssl_crypto: OpenSSL's libcrypto for the Windows target, which no package of the distribution carries.
set(openssl_root ${PROJECT_SOURCE_DIR}/build/openssl)
if(NOT EXISTS ${openssl_root}/lib/libcrypto.a OR NOT EXISTS ${openssl_root}/include/openssl/md5.h)
  message(FATAL_ERROR "${openssl_root} holds no libcrypto for Windows; run scripts/build-libcrypto first")
endif()
add_library(openssl_crypto STATIC IMPORTED)
set_target_properties(openssl_crypto PROPERTIES
  IMPORTED_LOCATION ${openssl_root}/lib/libcrypto.a
  INTERFACE_INCLUDE_DIRECTORIES ${openssl_root}/include)
