# Writes maker_identity.cpp for the certificates in the folder "signed": cmake -P maker_identity.cmake
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/maker_identity.cmake)
file(STRINGS signed/signers.txt signers)
write_maker_identity(${CMAKE_CURRENT_BINARY_DIR}/maker_identity.cpp "Tarvo Test Maker" "${signers}"
  ${CMAKE_CURRENT_LIST_DIR}/digests.txt)
