// SPDX-License-Identifier: MIT
//
// Another program of this host that uses the token "Office", by plain PKCS#11:
//
//   token_user MODULE PIN                       lists the objects, one per line; without a log-in if the PIN is empty
//   token_user MODULE PIN certificate FILE ID   stores a certificate (DER) with this identifier
//   token_user MODULE PIN public-key LABEL      stores an RSA key with this label
//   token_user MODULE PIN log-ins COUNT         logs in so many times more
//
// Its status is 0 if that succeeded.
#include <service/certs/openssl_handles.h>
#include <service/modules/cryptoki.h>
#include <service/modules/pkcs11_library.h>

#include <platform/system/files.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

using namespace panelkitd;

namespace {

class Session {
public:
    Session(const Pkcs11Library& module, const std::string& pin) : module_(module) {
        const CK_FLAGS flags = CKF_SERIAL_SESSION | CKF_RW_SESSION;
        check(module_->C_OpenSession(slotOf("Office"), flags, nullptr, nullptr, &handle_), "C_OpenSession");
        if (!pin.empty())
            check(module_->C_Login(handle_, CKU_USER, mutableBytes(pin), CK_ULONG(pin.size())), "C_Login");
    }

    void list() const {
        std::array<CK_OBJECT_HANDLE, 100> objects{};
        CK_ULONG count = 0;
        check(module_->C_FindObjectsInit(handle_, nullptr, 0), "C_FindObjectsInit");
        check(module_->C_FindObjects(handle_, objects.data(), objects.size(), &count), "C_FindObjects");
        for (CK_ULONG i = 0; i < count; ++i) std::printf("%s\n", described(objects[i]).c_str());
    }

    void loginAgain(const std::string& pin) const {
        module_->C_Logout(handle_);
        module_->C_Login(handle_, CKU_USER, mutableBytes(pin), CK_ULONG(pin.size()));
    }

    void store(CK_OBJECT_CLASS kind, CK_ULONG type, CK_ATTRIBUTE_TYPE typeOfType,
               const std::vector<std::pair<CK_ATTRIBUTE_TYPE, std::string>>& values) const {
        CK_BBOOL yes = CK_TRUE;
        std::vector<CK_ATTRIBUTE> object{
            {CKA_CLASS, &kind, sizeof kind}, {typeOfType, &type, sizeof type}, {CKA_TOKEN, &yes, sizeof yes}};
        for (const auto& [name, value] : values) object.push_back({name, mutableBytes(value), CK_ULONG(value.size())});
        CK_OBJECT_HANDLE made = 0;
        check(module_->C_CreateObject(handle_, object.data(), CK_ULONG(object.size()), &made), "C_CreateObject");
    }

private:
    CK_SLOT_ID slotOf(const std::string& label) const {
        for (const CK_SLOT_ID slot : module_.slotsWithToken()) {
            if (fieldText(module_.tokenInfo(slot).label) == label) return slot;
        }
        throw std::runtime_error("no token " + label);
    }

    // Whether the object has this attribute, and it is true.
    bool is(CK_OBJECT_HANDLE object, CK_ATTRIBUTE_TYPE type) const {
        CK_BBOOL value = CK_FALSE;
        CK_ATTRIBUTE attribute{type, &value, sizeof value};
        return module_->C_GetAttributeValue(handle_, object, &attribute, 1) == CKR_OK && value == CK_TRUE;
    }

    std::string described(CK_OBJECT_HANDLE object) const {
        static constexpr std::array names{"data", "certificate", "public", "private", "secret"};
        CK_OBJECT_CLASS kind = 0;
        CK_ATTRIBUTE attribute{CKA_CLASS, &kind, sizeof kind};
        check(module_->C_GetAttributeValue(handle_, object, &attribute, 1), "C_GetAttributeValue");
        return names.at(kind) + std::string(is(object, CKA_SENSITIVE) ? " sensitive" : "") +
               (is(object, CKA_EXTRACTABLE) ? " extractable" : "");
    }

    const Pkcs11Library& module_;
    CK_SESSION_HANDLE handle_ = 0;
};

void storeCertificate(const Session& session, const std::string& file, const std::string& id) {
    const std::string der = platform::readFile(file, 1 << 20);
    const CertificateHandle certificate = certificateFrom(der);
    if (!certificate) throw std::runtime_error(file + " is not a certificate");
    const std::string subject = derOf(X509_get_subject_name(certificate.get()), i2d_X509_NAME);
    session.store(CKO_CERTIFICATE, CKC_X_509, CKA_CERTIFICATE_TYPE,
                  {{CKA_SUBJECT, subject}, {CKA_ID, id}, {CKA_VALUE, der}});
}

void storePublicKey(const Session& session, const std::string& label) {
    const std::string modulus(256, '\xC1'), exponent("\1\0\1", 3);
    session.store(CKO_PUBLIC_KEY, CKK_RSA, CKA_KEY_TYPE,
                  {{CKA_LABEL, label}, {CKA_MODULUS, modulus}, {CKA_PUBLIC_EXPONENT, exponent}});
}

void operate(const std::vector<std::string>& arguments) {
    const Pkcs11Library module(arguments.at(0));
    const Session session(module, arguments.at(1));
    if (arguments.size() == 2) return session.list();
    if (arguments[2] == "certificate") return storeCertificate(session, arguments.at(3), arguments.at(4));
    if (arguments[2] == "public-key") return storePublicKey(session, arguments.at(3));
    for (int i = std::stoi(arguments.at(3)); i > 0; --i) session.loginAgain(arguments[1]);
}

} // namespace

int main(int count, char** values) {
    try {
        operate({values + 1, values + count});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "token_user: %s\n", error.what());
        return EXIT_FAILURE;
    }
    std::fflush(stdout);
    std::_Exit(EXIT_SUCCESS); // without the module's destructors: those of SoftHSM2 use an OpenSSL that is gone by then
}
