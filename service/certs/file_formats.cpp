// SPDX-License-Identifier: MIT
//
// Files of PEM blocks, and files of DER objects one after the other.
#include <service/certs/parsed_file.h>

#include <service/base/refused.h>

#include <platform/system/wipe.h>

#include <openssl/err.h>
#include <openssl/pem.h>

#include <algorithm>
#include <array>
#include <cstring>

namespace panelkitd {

using vocabulary::ParseResult;
using vocabulary::Refused;

namespace {

constexpr std::size_t mostDamaged = 1000; // damaged blocks that an answer names
constexpr char bomEnd = '\xBF';           // the last byte of the mark with which some editors begin UTF-8 files

using EncryptedKeyHandle = std::unique_ptr<X509_SIG, Release<X509_SIG_free>>;

// One block of a PEM file.
struct PemBlock {
    std::string name;
    std::string header; // of traditional key encryption
    std::string bytes;

    PemBlock() = default;
    ~PemBlock() { platform::wipe(bytes); }
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;
};

// Reads the one block of the text.
void readBlock(std::string_view text, PemBlock& block) {
    const BioHandle bio = readingBio(text);
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* bytes = nullptr;
    long size = 0;
    ERR_clear_error();
    if (PEM_read_bio(bio.get(), &name, &header, &bytes, &size) != 1) {
        throw ParseError(ParseResult::unknownFormat, "a PEM block in it is damaged");
    }
    block.name = name;
    block.header = header;
    block.bytes.assign(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size));
    OPENSSL_free(name);
    OPENSSL_free(header);
    OPENSSL_clear_free(bytes, static_cast<std::size_t>(size));
}

int givePassword(char* buffer, int size, int, void* context) {
    const auto& password = *static_cast<const platform::Secret*>(context);
    if (password.size() > static_cast<std::size_t>(size)) return -1;
    std::memcpy(buffer, password.data(), password.size());
    return static_cast<int>(password.size());
}

// Decrypts a key with traditional encryption, which is described in the lines before the key.
void decryptBlock(PemBlock& block, const platform::Secret& password) {
    EVP_CIPHER_INFO cipher{};
    if (PEM_get_EVP_CIPHER_INFO(block.header.data(), &cipher) != 1) {
        throw ParseError(ParseResult::unknownFormat, "the header of a PEM block in it is damaged");
    }
    if (!cipher.cipher) return;
    auto size = static_cast<long>(block.bytes.size());
    platform::Secret copy = password; // the callback's context is not const
    if (PEM_do_header(&cipher, reinterpret_cast<unsigned char*>(block.bytes.data()), &size, givePassword, &copy) != 1) {
        throw ParseError(ParseResult::passwordWrong, "the password does not open its private key");
    }
    block.bytes.resize(static_cast<std::size_t>(size));
}

void takeKey(PemBlock& block, FileCollector& into) {
    if (!block.header.empty()) decryptBlock(block, into.password());
    std::string_view rest = block.bytes;
    const unsigned char* at = bytesOf(rest);
    KeyHandle key(d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(rest.size())));
    // With a wrong password the padding may be valid by chance.
    if (!key && !block.header.empty()) {
        throw ParseError(ParseResult::passwordWrong, "the password does not open its private key");
    }
    into.addKey(std::move(key));
}

void takeEncryptedKey(PemBlock& block, FileCollector& into) {
    std::string_view rest = block.bytes;
    into.addEncryptedKey(readDer<EncryptedKeyHandle>(rest, d2i_X509_SIG).get());
}

// Returns the object at the start of the block. Bytes after it are dropped: with them, the same object would look like
// another one. A block without an object is returned as it is.
template <class Handle, class Decode>
std::string objectIn(const PemBlock& block, Decode decode) {
    std::string_view rest = block.bytes;
    const bool found = readDer<Handle>(rest, decode) != nullptr;
    return block.bytes.substr(0, found ? block.bytes.size() - rest.size() : block.bytes.npos);
}

void takeCertificate(PemBlock& block, FileCollector& into) {
    into.addCertificate(objectIn<CertificateHandle>(block, d2i_X509));
}

// A certificate followed by the purposes for which OpenSSL trusts it.
void takeTrustedCertificate(PemBlock& block, FileCollector& into) {
    std::string_view rest = block.bytes;
    const CertificateHandle certificate = readDer<CertificateHandle>(rest, d2i_X509_AUX);
    if (!certificate) throw ParseError(ParseResult::unknownFormat, "a certificate in it is damaged");
    into.addCertificate(derOf(certificate.get(), i2d_X509));
}

void takeCrl(PemBlock& block, FileCollector& into) { into.addCrl(objectIn<CrlHandle>(block, d2i_X509_CRL)); }

void takePkcs7(PemBlock& block, FileCollector& into) {
    std::string_view rest = block.bytes;
    const Pkcs7Handle container = readDer<Pkcs7Handle>(rest, d2i_PKCS7);
    if (!container) throw ParseError(ParseResult::unknownFormat, "a PKCS#7 block in it is damaged");
    into.addPkcs7(container.get());
}

struct BlockKind {
    const char* name;
    void (*take)(PemBlock&, FileCollector&);
};

// clang-format off
constexpr std::array blockKinds = {
    BlockKind{PEM_STRING_X509,          takeCertificate},
    BlockKind{PEM_STRING_X509_OLD,      takeCertificate},
    BlockKind{PEM_STRING_X509_TRUSTED,  takeTrustedCertificate},
    BlockKind{PEM_STRING_X509_CRL,      takeCrl},
    BlockKind{PEM_STRING_PKCS7,         takePkcs7},
    BlockKind{PEM_STRING_PKCS7_SIGNED,  takePkcs7},
    BlockKind{PEM_STRING_CMS,           takePkcs7},
    BlockKind{PEM_STRING_PKCS8,         takeEncryptedKey},
    BlockKind{PEM_STRING_PKCS8INF,      takeKey},
    BlockKind{PEM_STRING_RSA,           takeKey},
    BlockKind{PEM_STRING_ECPRIVATEKEY,  takeKey},
    BlockKind{PEM_STRING_DSA,           takeKey},
};
// clang-format on

// Removes the object at the start of the text; returns false when it is of no known kind.
bool takeDerObject(std::string_view& text, FileCollector& into) {
    const std::string_view whole = text;
    if (readDer<CertificateHandle>(text, d2i_X509)) {
        into.addCertificate(std::string(whole.substr(0, whole.size() - text.size())));
    } else if (readDer<CrlHandle>(text, d2i_X509_CRL)) {
        into.addCrl(std::string(whole.substr(0, whole.size() - text.size())));
    } else if (const Pkcs7Handle signedData = readDer<Pkcs7Handle>(text, d2i_PKCS7)) {
        into.addPkcs7(signedData.get());
    } else if (const Pkcs12Handle container = readDer<Pkcs12Handle>(text, d2i_PKCS12)) {
        readPkcs12(container.get(), into);
    } else if (const EncryptedKeyHandle encrypted = readDer<EncryptedKeyHandle>(text, d2i_X509_SIG)) {
        into.addEncryptedKey(encrypted.get());
    } else {
        const unsigned char* at = bytesOf(text);
        KeyHandle key(d2i_AutoPrivateKey(nullptr, &at, static_cast<long>(text.size())));
        if (!key) return false;
        text.remove_prefix(static_cast<std::size_t>(at - bytesOf(text)));
        into.addKey(std::move(key));
    }
    return true;
}

// The place of the next line that begins a PEM block, from `from` on; npos when there is none.
std::size_t nextBegin(std::string_view content, std::size_t from) {
    constexpr std::string_view begin = "-----BEGIN ";
    for (std::size_t at = content.find(begin, from); at != content.npos; at = content.find(begin, at + 1)) {
        if (at == 0 || content[at - 1] == '\n' || content[at - 1] == '\r' || content[at - 1] == bomEnd) return at;
    }
    return content.npos;
}

// Returns false when the block is damaged. Parameters, requests and the like are skipped.
bool isTaken(std::string_view text, FileCollector& into) {
    try {
        PemBlock block;
        readBlock(text, block);
        const auto kind = std::find_if(blockKinds.begin(), blockKinds.end(),
                                       [&](const BlockKind& candidate) { return block.name == candidate.name; });
        if (kind != blockKinds.end()) kind->take(block, into);
        return true;
    } catch (const ParseError& error) {
        if (error.result != ParseResult::unknownFormat) throw;
        return false;
    }
}

} // namespace

void readPem(const std::string& content, FileCollector& into) {
    const std::string_view all = content;
    Remarks damaged;
    std::size_t number = 0, line = 1, counted = 0;
    for (std::size_t begin = nextBegin(all, 0); begin != all.npos && damaged.size() < mostDamaged;) {
        const std::size_t end = nextBegin(all, begin + 1);
        const std::string_view before = all.substr(counted, begin - counted);
        line += static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n'));
        counted = begin;
        ++number;
        if (!isTaken(all.substr(begin, end - begin), into)) {
            damaged.push_back(
                remark(Refused::damagedBlock, "PEM block %d, which begins on line %d, is damaged", number, line));
        }
        begin = end;
    }
    if (!damaged.empty()) throw ParseError(ParseResult::unknownFormat, std::move(damaged));
}

void readDerObjects(std::string_view content, FileCollector& into) {
    if (content.empty()) throw ParseError(ParseResult::unknownFormat, "it is empty");
    while (!content.empty()) {
        if (!takeDerObject(content, into)) {
            throw ParseError(ParseResult::unknownFormat, "it is damaged, or of a format that is not known");
        }
    }
}

} // namespace panelkitd
