// The few libsodium services the platform uses, behind one small layer.
#ifndef CANTORA_PLATFORM_LIB_SODIUM_CRYPTO_H
#define CANTORA_PLATFORM_LIB_SODIUM_CRYPTO_H

#include <string>

namespace crypto {

// Initialises libsodium once; false when it cannot be used.
bool Init();
// Argon2id hash string of password (salted; parameters inside the string).
bool HashPassword(const std::string& password, std::string* hash);
// True when password matches a hash made by HashPassword.
bool VerifyPassword(const std::string& hash, const std::string& password);
// bytes random bytes as lower-case hex.
std::string RandomHex(size_t bytes);
// BLAKE2b-256 of text as lower-case hex.
std::string Digest(const std::string& text);

}  // namespace crypto

#endif
