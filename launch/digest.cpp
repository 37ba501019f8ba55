#include "launch/digest.h"

#include <memory>

// The calls of the digests link 17 and 5 KB of libcrypto; the one-shot EVP interface, which replaces them, 1.9 MB.
// The system's own functions know SHA-256 on XP x64 only after an update.
#define OPENSSL_API_COMPAT 10100
#include <openssl/md5.h>
#include <openssl/sha.h>

namespace {

constexpr std::size_t kPieceBytes = std::size_t{128} * 1024;

} // namespace

bool ComputeMd5(const t_openFile& file, t_md5Digest& digest)
{
    static_assert(sizeof(digest) == MD5_DIGEST_LENGTH);
    if (!file.Seek(0)) {
        return false;
    }
    const auto piece = std::make_unique_for_overwrite<BYTE[]>(kPieceBytes);
    MD5_CTX context;
    MD5_Init(&context);
    std::size_t count = 0;
    do {
        if (!file.Read(piece.get(), kPieceBytes, count)) {
            return false;
        }
        MD5_Update(&context, piece.get(), count);
    } while (count == kPieceBytes);
    MD5_Final(digest.data(), &context);
    return true;
}

t_sha256Digest ComputeSha256(std::span<const BYTE> data)
{
    t_sha256Digest digest;
    static_assert(sizeof(digest) == SHA256_DIGEST_LENGTH);
    SHA256_CTX context;
    SHA256_Init(&context);
    SHA256_Update(&context, data.data(), data.size());
    SHA256_Final(digest.data(), &context);
    return digest;
}
