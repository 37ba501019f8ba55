#include "launch/file_digest.h"

#include <memory>

// The three calls link 17 KB of libcrypto; the one-shot EVP interface, which replaces them, links 1.9 MB.
#define OPENSSL_API_COMPAT 10100
#include <openssl/md5.h>

namespace {

constexpr DWORD kPieceBytes = 128 * 1024;

} // namespace

bool ComputeMd5(HANDLE file, t_md5Digest& digest)
{
    static_assert(sizeof(digest) == MD5_DIGEST_LENGTH);
    if (!SetFilePointerEx(file, {}, nullptr, FILE_BEGIN)) {
        return false;
    }
    const auto piece = std::make_unique_for_overwrite<BYTE[]>(kPieceBytes);
    MD5_CTX context;
    MD5_Init(&context);
    DWORD count = 0;
    do {
        if (!ReadFile(file, piece.get(), kPieceBytes, &count, nullptr)) {
            return false;
        }
        MD5_Update(&context, piece.get(), count);
    } while (count != 0);
    MD5_Final(digest.data(), &context);
    return true;
}
