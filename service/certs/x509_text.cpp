// SPDX-License-Identifier: MIT
#include <service/certs/x509_text.h>

#include <service/modules/cryptoki.h>

#include <platform/text/ascii.h>

#include <array>
#include <chrono>

namespace panelkitd {

namespace {

// The order and escapes of RFC 2253 (the same as in RFC 4514), with characters beyond ASCII unescaped.
constexpr unsigned long nameFlags = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);

std::string digestOf(std::string_view bytes, const EVP_MD* kind) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, kind, nullptr);
    return {reinterpret_cast<const char*>(digest.data()), size};
}

} // namespace

std::string nameText(const X509_NAME* name) {
    const BioHandle bio = collectingBio();
    X509_NAME_print_ex(bio.get(), name, 0, nameFlags);
    return utf8Only(takenText(bio));
}

std::string shortName(const X509_NAME* name) {
    int last = -1;
    for (int at = -1; (at = X509_NAME_get_index_by_NID(name, NID_commonName, at)) >= 0;) last = at;
    if (last < 0) return nameText(name);
    unsigned char* text = nullptr;
    const int size = ASN1_STRING_to_UTF8(&text, X509_NAME_ENTRY_get_data(X509_NAME_get_entry(name, last)));
    if (size < 0) return nameText(name);
    std::string result = utf8Only({reinterpret_cast<const char*>(text), static_cast<std::size_t>(size)});
    OPENSSL_free(text);
    return result;
}

std::string numberText(const ASN1_INTEGER* number) {
    const std::unique_ptr<BIGNUM, Release<BN_free>> value(ASN1_INTEGER_to_BN(number, nullptr));
    if (!value) return {};
    char* digits = BN_bn2hex(value.get());
    std::string text = digits ? digits : "";
    OPENSSL_free(digits);
    return text;
}

std::string hexText(const ASN1_OCTET_STRING* bytes) {
    if (!bytes) return {};
    return platform::hexText({reinterpret_cast<const char*>(ASN1_STRING_get0_data(bytes)),
                              static_cast<std::size_t>(ASN1_STRING_length(bytes))});
}

std::string objectText(const ASN1_OBJECT* object) {
    std::array<char, 128> text{};
    const int size = OBJ_obj2txt(text.data(), static_cast<int>(text.size()), object, 0);
    return size > 0 ? utf8Only(text.data()) : "unknown";
}

std::optional<std::uint64_t> secondsOf(const ASN1_TIME* time) {
    std::tm parts{};
    if (!time || ASN1_TIME_to_tm(time, &parts) != 1) return std::nullopt;
    using namespace std::chrono;
    const auto date = year(parts.tm_year + 1900) / (parts.tm_mon + 1) / parts.tm_mday;
    if (!date.ok()) return std::nullopt;
    const auto point = sys_days(date) + hours(parts.tm_hour) + minutes(parts.tm_min) + seconds(parts.tm_sec);
    const std::int64_t count = duration_cast<seconds>(point.time_since_epoch()).count();
    return count < 0 ? 0 : static_cast<std::uint64_t>(count);
}

std::string sha256(std::string_view bytes) { return digestOf(bytes, EVP_sha256()); }
std::string sha1(std::string_view bytes) { return digestOf(bytes, EVP_sha1()); }

} // namespace panelkitd
