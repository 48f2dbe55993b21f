#include "web/door/Secrets.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include "ostrel/Exception.h"

namespace web
{

namespace
{

String HexOf(std::string_view bytes)
{
    static const char s_digits[] = "0123456789abcdef";
    String text;
    for (const unsigned char byte : bytes)
    {
        text += s_digits[byte >> 4];
        text += s_digits[byte & 15];
    }
    return text;
}

} // namespace

String MakeSecretText()
{
    unsigned char bytes[32];
    if (RAND_bytes(bytes, sizeof bytes) != 1)
        throw new ostrel::Exception("the system has no random numbers");
    return HexOf({reinterpret_cast<const char *>(bytes), sizeof bytes});
}

std::string DigestOf(std::string_view text)
{
    // To look for it each time would take longer than the digest itself.
    static EVP_MD *const s_sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    std::string digest(32, '\0');
    if (!s_sha256 ||
        EVP_Digest(text.data(), text.size(), reinterpret_cast<unsigned char *>(digest.data()),
                   nullptr, s_sha256, nullptr) != 1)
        throw new ostrel::Exception("OpenSSL has no SHA-256");
    return digest;
}

String DigestText(std::string_view text)
{
    return HexOf(DigestOf(text));
}

} // namespace web
