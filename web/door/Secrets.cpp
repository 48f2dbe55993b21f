#include "web/door/Secrets.h"

#include <openssl/rand.h>
#include <openssl/sha.h>

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
    std::string digest(SHA256_DIGEST_LENGTH, '\0');
    SHA256(reinterpret_cast<const unsigned char *>(text.data()), text.size(),
           reinterpret_cast<unsigned char *>(digest.data()));
    return digest;
}

String DigestText(std::string_view text)
{
    return HexOf(DigestOf(text));
}

} // namespace web
