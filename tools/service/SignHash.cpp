#include "SignHash.h"

#include "QueryText.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

namespace VeldaService {

namespace {

const char kScheme[] = "sha256:";

std::string digestHex(const std::string& salt, const std::string& sign)
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_sha256(), nullptr);
    EVP_DigestUpdate(context, salt.data(), salt.size());
    EVP_DigestUpdate(context, sign.data(), sign.size());
    EVP_DigestFinal_ex(context, digest, &length);
    EVP_MD_CTX_free(context);
    return hexText(digest, length);
}

} // namespace

std::string hashSign(const std::string& sign)
{
    const std::string salt = randomHex();
    return kScheme + salt + ":" + digestHex(salt, sign);
}

bool isSignHash(const std::string& stored)
{
    return stored.compare(0, sizeof kScheme - 1, kScheme) == 0 && stored.find(':', sizeof kScheme - 1) != std::string::npos;
}

bool signMatches(const std::string& stored, const std::string& sign)
{
    if (!isSignHash(stored))
        return false;
    const size_t colon = stored.find(':', sizeof kScheme - 1);
    const std::string salt = stored.substr(sizeof kScheme - 1, colon - (sizeof kScheme - 1));
    const std::string expected = stored.substr(colon + 1);
    return sameSecret(expected, digestHex(salt, sign));
}

bool sameSecret(const std::string& a, const std::string& b)
{
    return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

} // namespace VeldaService
