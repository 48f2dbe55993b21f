#include "master/door/MakeTls.h"

#include <arpa/inet.h>
#include <cctype>
#include <filesystem>

#include <openssl/bn.h>
#include <openssl/rand.h>

#include "master/door/OpenSsl.h"
#include "master/door/PrivateFile.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"

namespace master
{

using ostrel::Exception;

namespace
{

constexpr long k_day_seconds = 24L * 3600;
constexpr long k_authority_days = 3650;
constexpr long k_certificate_days = 365;
constexpr long k_slack_seconds = 3600; // Clocks differ.
constexpr std::size_t k_most_tls_bytes = 1u << 20;
constexpr mode_t k_for_all = 0644;
constexpr mode_t k_for_owner = 0600;

/// A certificate and its key.
struct Pair
{
    SslX509 certificate;
    SslKey key;
};

[[noreturn]] void FailToMake()
{
    throw new Exception("a certificate cannot be made: " + SslReason());
}

void RequireDone(bool isDone)
{
    if (!isDone)
        FailToMake();
}

bool IsAddress(const String &host)
{
    unsigned char bytes[sizeof(in6_addr)];
    return ::inet_pton(AF_INET, host.c_str(), bytes) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), bytes) == 1;
}

bool IsHostName(const String &host)
{
    for (const char c : host)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '.')
            return false;
    return !host.empty() && host.size() <= 253 && host[0] != '-' && host[0] != '.';
}

// "DNS:farm.example,IP:192.0.2.7", which OpenSSL takes apart: no host may hold a comma.
String AlternativeNames(std::span<const String> hosts)
{
    String names;
    for (const String &host : hosts)
    {
        if (!IsAddress(host) && !IsHostName(host))
            throw new Exception("\"" + host + "\" is no host");
        names += String(names.empty() ? "" : ",") + (IsAddress(host) ? "IP:" : "DNS:") + host;
    }
    if (names.empty())
        throw new Exception("a certificate needs a host");
    return names;
}

void AddExtension(X509 *certificate, X509 *issuer, int kind, const String &value)
{
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const SslExtension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
    RequireDone(extension && X509_add_ext(certificate, extension.get(), -1) == 1);
}

// Signed by nobody yet.
Pair Begin(const String &commonName, long days)
{
    Pair pair{SslX509(X509_new()), SslKey(EVP_EC_gen("P-256"))};
    unsigned char serial[16] = {};
    RequireDone(pair.certificate && pair.key && RAND_bytes(serial, sizeof serial) == 1);
    serial[0] &= 0x7f;
    X509 *const certificate = pair.certificate.get();
    const std::unique_ptr<BIGNUM, SslFree<BN_free>> number(
        BN_bin2bn(serial, sizeof serial, nullptr));
    RequireDone(X509_set_version(certificate, X509_VERSION_3) == 1 &&
                BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr &&
                X509_gmtime_adj(X509_getm_notBefore(certificate), -k_slack_seconds) != nullptr &&
                X509_gmtime_adj(X509_getm_notAfter(certificate), days * k_day_seconds) != nullptr &&
                X509_set_pubkey(certificate, pair.key.get()) == 1 &&
                X509_NAME_add_entry_by_txt(
                    X509_get_subject_name(certificate), "CN", MBSTRING_UTF8,
                    reinterpret_cast<const unsigned char *>(commonName.c_str()), -1, -1, 0) == 1);
    return pair;
}

void Sign(X509 *certificate, X509 *issuer, EVP_PKEY *key)
{
    RequireDone(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1);
    AddExtension(certificate, issuer, NID_subject_key_identifier, "hash");
    AddExtension(certificate, issuer, NID_authority_key_identifier, "keyid:always");
    RequireDone(X509_sign(certificate, key, EVP_sha256()) != 0);
}

Pair MakeAuthority()
{
    Pair authority = Begin("Corvan authority", k_authority_days);
    X509 *const certificate = authority.certificate.get();
    AddExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE,pathlen:0");
    AddExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign,cRLSign");
    Sign(certificate, certificate, authority.key.get());
    return authority;
}

Pair MakeCertificate(const Pair &authority, const String &commonName, const String &names)
{
    // The field holds 64 characters, and is for people alone.
    Pair made = Begin(commonName.substr(0, 64), k_certificate_days);
    X509 *const certificate = made.certificate.get();
    X509 *const issuer = authority.certificate.get();
    AddExtension(certificate, issuer, NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate, issuer, NID_key_usage, "critical,digitalSignature");
    AddExtension(certificate, issuer, NID_ext_key_usage, "serverAuth");
    AddExtension(certificate, issuer, NID_subject_alt_name, names);
    Sign(certificate, issuer, authority.key.get());
    return made;
}

Pair LoadAuthority(const TlsFiles &files)
{
    RequirePrivate(files.authorityKey, "key");
    Pair authority{ReadCertificate(ostrel::File::ReadWhole(files.authority, k_most_tls_bytes)),
                   ReadKey(ostrel::File::ReadWhole(files.authorityKey, k_most_tls_bytes))};
    if (!authority.certificate || !authority.key ||
        X509_check_private_key(authority.certificate.get(), authority.key.get()) != 1)
        throw new Exception("cannot use the authority of " + files.authority.Parent().Text() +
                            ": its certificate and its key do not belong together");
    return authority;
}

bool IsFileThere(const Path &file)
{
    std::error_code error;
    return std::filesystem::exists(file.Text().c_str(), error);
}

} // namespace

TlsFiles TlsFilesIn(const Path &folder)
{
    return {folder / "authority.pem", folder / "authority-key.pem", folder / "certificate.pem",
            folder / "key.pem"};
}

bool MakeTls(const Path &folder, std::span<const String> hosts)
{
    const String names = AlternativeNames(hosts);
    std::error_code error;
    std::filesystem::create_directories(folder.Text().c_str(), error);
    if (error)
        throw new Exception("cannot make folder " + folder.Text() + ": " + error.message());

    const TlsFiles files = TlsFilesIn(folder);
    const bool isNew = !IsFileThere(files.authority) && !IsFileThere(files.authorityKey);
    const Pair authority = isNew ? MakeAuthority() : LoadAuthority(files);
    const Pair made = MakeCertificate(authority, hosts.front(), names);
    if (isNew)
    {
        WriteFileFor(files.authorityKey, KeyText(authority.key.get()), k_for_owner);
        WriteFileFor(files.authority, CertificateText(authority.certificate.get()), k_for_all);
    }
    WriteFileFor(files.key, KeyText(made.key.get()), k_for_owner);
    WriteFileFor(files.certificate, CertificateText(made.certificate.get()), k_for_all);
    return isNew;
}

} // namespace master
