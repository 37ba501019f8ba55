#include "config/text_cipher.h"

#include <windows.h>

#include <ntsecapi.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

// The calls of this one mode link 21 KB of libcrypto; the EVP interface, which replaces them, 1.9 MB.
#define OPENSSL_API_COMPAT 10100
#include <openssl/aes.h>
#include <openssl/crypto.h>
#include <openssl/modes.h>

namespace n_config {

namespace {

constexpr std::string_view kMark = "TVC1"; // the digit is the version of the form
constexpr std::size_t kNonceBytes = 12;    // the length that the mode is made for
constexpr std::size_t kTagBytes = 16;
constexpr std::size_t kHeadBytes = kMark.size() + kNonceBytes;

std::uint8_t* At(std::string& bytes, std::size_t offset)
{
    return reinterpret_cast<std::uint8_t*>(bytes.data()) + offset;
}

void EncipherBlock(const unsigned char* from, unsigned char* to, const void* schedule)
{
    AES_encrypt(from, to, static_cast<const AES_KEY*>(schedule));
}

// The mode's state for the bytes behind one nonce.
class t_state
{
public:
    t_state(std::span<const std::uint8_t> key, const std::uint8_t* nonce)
    {
        AES_set_encrypt_key(key.data(), static_cast<int>(key.size() * 8), &schedule);
        context.reset(CRYPTO_gcm128_new(&schedule, &EncipherBlock));
        if (context != nullptr) {
            CRYPTO_gcm128_setiv(context.get(), nonce, kNonceBytes);
        }
    }
    t_state(const t_state&) = delete;
    t_state& operator=(const t_state&) = delete;
    ~t_state() { OPENSSL_cleanse(&schedule, sizeof(schedule)); }

    // Null when there was no memory for it.
    GCM128_CONTEXT* Context() const { return context.get(); }

private:
    struct t_release
    {
        void operator()(GCM128_CONTEXT* released) const { CRYPTO_gcm128_release(released); } // wipes it
    };

    AES_KEY schedule;
    std::unique_ptr<GCM128_CONTEXT, t_release> context;
};

} // namespace

t_textCipher::t_textCipher(std::span<const std::uint8_t, kKeyBytes> keyToUse)
{
    std::copy(keyToUse.begin(), keyToUse.end(), key.begin());
}

t_textCipher::~t_textCipher()
{
    OPENSSL_cleanse(key.data(), key.size());
}

bool t_textCipher::Encipher(std::string& bytes)
{
    const std::size_t size = bytes.size();
    std::string stored(kMark);
    stored.resize(kHeadBytes + size + kTagBytes);
    std::uint8_t* const nonce = At(stored, kMark.size());
    if (!RtlGenRandom(nonce, kNonceBytes)) {
        return false;
    }
    const t_state state(key, nonce);
    if (state.Context() == nullptr ||
        CRYPTO_gcm128_encrypt(state.Context(), At(bytes, 0), At(stored, kHeadBytes), size) != 0) {
        return false;
    }
    CRYPTO_gcm128_tag(state.Context(), At(stored, kHeadBytes + size), kTagBytes);
    bytes = std::move(stored);
    return true;
}

bool t_textCipher::Decipher(std::string& bytes)
{
    if (!bytes.starts_with(kMark) || bytes.size() < kHeadBytes + kTagBytes) {
        return false;
    }
    const std::size_t size = bytes.size() - kHeadBytes - kTagBytes;
    std::string text(size, '\0');
    const t_state state(key, At(bytes, kMark.size()));
    if (state.Context() == nullptr ||
        CRYPTO_gcm128_decrypt(state.Context(), At(bytes, kHeadBytes), At(text, 0), size) != 0 ||
        CRYPTO_gcm128_finish(state.Context(), At(bytes, kHeadBytes + size), kTagBytes) != 0) {
        return false;
    }
    bytes = std::move(text);
    return true;
}

} // namespace n_config
