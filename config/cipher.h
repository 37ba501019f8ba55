#pragma once

#include <string>

namespace n_config {

// What enciphers the bytes of a configuration file before they are stored, and deciphers them after they are read.
// A program that has such files passes one to t_configFile: t_textCipher, or one of its own.
class t_cipher
{
public:
    virtual ~t_cipher() = default;

    // Both replace the bytes and return false when they cannot; what the bytes hold then is of no meaning.
    [[nodiscard]] virtual bool Encipher(std::string& bytes) = 0;
    [[nodiscard]] virtual bool Decipher(std::string& bytes) = 0;
};

} // namespace n_config
