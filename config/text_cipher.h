#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "config/cipher.h"

namespace n_config {

// Enciphers configuration files with AES-256 in Galois/counter mode, which also notices every change of what is stored.
// Stored are a mark of the form, a random number used once, the enciphered bytes and the tag that proves them.
//
// What it is worth: the key must be in the program that reads the file, or where that program finds it, and whoever has
// the program can take it from there. It keeps texts from casual reading and from being changed unnoticed by somebody
// who has only the file; against somebody who takes the program apart it keeps nothing secret.
class t_textCipher : public t_cipher
{
public:
    static constexpr std::size_t kKeyBytes = 32;

    //   keyToUse  any bytes that are hard to guess, not a word; copied
    explicit t_textCipher(std::span<const std::uint8_t, kKeyBytes> keyToUse);
    ~t_textCipher() override; // wipes the key
    t_textCipher(const t_textCipher&) = delete;
    t_textCipher& operator=(const t_textCipher&) = delete;

    // Returns false when the system gives no random number. Equal bytes are stored differently each time. Behind it:
    // RtlGenRandom.
    [[nodiscard]] bool Encipher(std::string& bytes) override;

    // Returns false for anything that was not enciphered with this key just so: another key, a changed, added or
    // missing byte, a plain file.
    [[nodiscard]] bool Decipher(std::string& bytes) override;

private:
    std::array<std::uint8_t, kKeyBytes> key;
};

} // namespace n_config
