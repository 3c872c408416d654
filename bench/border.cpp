// SPDX-License-Identifier: MIT
//
// What it costs that a module runs in a process of its own: the service's commands to it, against the same work through
// the bare interface of PKCS#11 with the module in this process. Both use SoftHSM2 and the same token files.
#include <bench/bare_token.h>
#include <bench/side_by_side.h>

#include <service/modules/host_process.h>
#include <service/modules/module_host.h>
#include <tests/support/running_service.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

using namespace panelkitd;
using bench::BareTemplate;
using bench::BareToken;

namespace {

constexpr const char* softHsm = "/usr/lib/softhsm/libsofthsm2.so";
constexpr std::string_view soPin = "so-pin-1", userPin = "user-1";
constexpr std::array sizes = {10, 2000, 20000};

void require(bool done, const char* what) {
    if (done) return;
    std::fprintf(stderr, "bench_border: %s failed\n", what);
    std::exit(1);
}

std::string labelFor(int objects) { return std::to_string(objects) + " objects"; }

// ---- what is measured against

CK_SLOT_ID makeToken(const Pkcs11Library& library, const std::string& label) {
    const CK_SLOT_ID fresh = library.slotsWithToken().back();
    std::string padded = label;
    padded.resize(32, ' ');
    check(library->C_InitToken(fresh, mutableBytes(soPin), soPin.size(), mutableBytes(padded)), "C_InitToken");
    const BareToken token(library, fresh);
    token.login(soPin, CKU_SO);
    check(library->C_InitPIN(token.session(), mutableBytes(userPin), userPin.size()), "C_InitPIN");
    token.logout();
    return fresh;
}

// What a certificate of a usual size is for a token, which does not read it.
void store(const BareToken& token, int number) {
    const CK_ULONG kind = CKO_CERTIFICATE, type = CKC_X_509;
    const std::string name = "certificate " + std::to_string(number);
    std::string id = name, value = name;
    id.resize(32, 'i');
    value.resize(900, 'v');
    BareTemplate object;
    object.number(CKA_CLASS, kind).number(CKA_CERTIFICATE_TYPE, type).flag(CKA_TOKEN, true).flag(CKA_PRIVATE, false);
    object.bytes(CKA_LABEL, name).bytes(CKA_ID, id).bytes(CKA_SUBJECT, name).bytes(CKA_VALUE, value);
    token.create(object);
}

void makeKey(const Pkcs11Library& library, const BareToken& token) {
    const CK_ULONG bits = 2048;
    const std::string id = "key";
    BareTemplate open, secret;
    open.flag(CKA_TOKEN, true).flag(CKA_VERIFY, true).number(CKA_MODULUS_BITS, bits).bytes(CKA_ID, id);
    secret.flag(CKA_TOKEN, true).flag(CKA_PRIVATE, true).flag(CKA_SIGN, true).bytes(CKA_ID, id);
    CK_MECHANISM mechanism{CKM_RSA_PKCS_KEY_PAIR_GEN, nullptr, 0};
    CK_OBJECT_HANDLE publicKey = 0, privateKey = 0;
    check(library->C_GenerateKeyPair(token.session(), &mechanism, open.data(), open.size(), secret.data(),
                                     secret.size(), &publicKey, &privateKey),
          "C_GenerateKeyPair");
}

// A private key has another number after each log-in.
CK_OBJECT_HANDLE findKey(const Pkcs11Library& library, const BareToken& token) {
    const CK_ULONG kind = CKO_PRIVATE_KEY;
    BareTemplate wanted;
    wanted.number(CKA_CLASS, kind);
    CK_OBJECT_HANDLE key = 0;
    CK_ULONG count = 0;
    check(library->C_FindObjectsInit(token.session(), wanted.data(), wanted.size()), "C_FindObjectsInit");
    check(library->C_FindObjects(token.session(), &key, 1, &count), "C_FindObjects");
    library->C_FindObjectsFinal(token.session());
    require(count == 1, "finding the key");
    return key;
}

const std::string digest(51, 'd'); // of the size of a SHA-256 with its name

void signBare(const Pkcs11Library& library, const BareToken& token, CK_OBJECT_HANDLE key) {
    CK_MECHANISM mechanism{CKM_RSA_PKCS, nullptr, 0};
    check(library->C_SignInit(token.session(), &mechanism, key), "C_SignInit");
    std::string signature(256, '\0');
    auto size = static_cast<CK_ULONG>(signature.size());
    check(library->C_Sign(token.session(), mutableBytes(digest), digest.size(), mutableBytes(signature), &size),
          "C_Sign");
}

// ---- what is measured

HostTemplate numbered(CK_ATTRIBUTE_TYPE type, CK_ULONG value) {
    HostTemplate wanted;
    wanted.attributes.push_back({type, platform::Secret({reinterpret_cast<const char*>(&value), sizeof value})});
    return wanted;
}

class HostedToken {
public:
    HostedToken(ModuleHost& host, const std::string& label) : turn_(host.take(host.usual())) {
        for (const HostToken& token : turn_.ask<HostTokens>(HostCommand::tokens, std::uint64_t{0}).tokens) {
            if (token.label == label) name_ = {token.label, token.serial, token.slot};
        }
        require(!name_.label.empty(), "finding the token");
    }
    void login() { turn_.tell(HostCommand::login, name_, HostLogin{platform::Secret(userPin), false}); }
    void logout() { turn_.tell(HostCommand::logout, name_); }
    HostFound find(CK_ULONG objectClass) {
        HostQuery query{numbered(CKA_CLASS, objectClass), {{objectClass, {}}}};
        query.readings[0].types.assign(bench::listedTypes.begin(), bench::listedTypes.end());
        return turn_.ask<HostFound>(HostCommand::find, name_, std::vector{query});
    }
    void sign(const HostFound& key) {
        HostSigning wish{key.generation, key.objects.at(0).object, CKM_RSA_PKCS, digest, false, {}};
        require(turn_.ask<std::string>(HostCommand::sign, name_, wish).size() == 256, "signing");
    }

private:
    ModuleHost::Turn turn_;
    HostTokenName name_;
};

void compareListings(const Pkcs11Library& library, ModuleHost& host, CK_SLOT_ID slot, int objects) {
    const BareToken bare(library, slot);
    HostedToken hosted(host, labelFor(objects));
    const auto count = static_cast<std::size_t>(objects);
    bench::compare(
        "listing " + labelFor(objects), "the module in the process", objects > 10'000 ? 9 : 41,
        [&] {
            return bench::secondsOf([&] { require(hosted.find(CKO_CERTIFICATE).objects.size() == count, "find"); });
        },
        [&] { return bench::secondsOf([&] { require(bare.certificates().size() == count, "finding"); }); });
}

void compareKeys(const Pkcs11Library& library, ModuleHost& host, CK_SLOT_ID slot) {
    const BareToken bare(library, slot);
    HostedToken hosted(host, labelFor(sizes[0]));
    const auto bareLogin = [&] {
        return bench::secondsOf([&] {
            bare.login(userPin);
            bare.logout();
        });
    };
    const auto hostedLogin = [&] {
        return bench::secondsOf([&] {
            hosted.login();
            hosted.logout();
        });
    };
    bench::compare("log-in and log-out", "the module in the process", 41, hostedLogin, bareLogin);
    bare.login(userPin);
    hosted.login();
    const CK_OBJECT_HANDLE key = findKey(library, bare);
    const HostFound keys = hosted.find(CKO_PRIVATE_KEY);
    require(keys.objects.size() == 1, "finding the key");
    const auto bareSigning = [&] { return bench::secondsOf([&] { signBare(library, bare, key); }); };
    const auto hostedSigning = [&] { return bench::secondsOf([&] { hosted.sign(keys); }); };
    bench::compare("an RSA-2048 signature", "the module in the process", 201, hostedSigning, bareSigning);
}

void makeTokens() {
    const Pkcs11Library library(softHsm);
    for (const int objects : sizes) {
        const BareToken token(library, makeToken(library, labelFor(objects)));
        token.login(userPin);
        for (int i = 0; i < objects; ++i) store(token, i);
        if (objects == sizes[0]) makeKey(library, token);
        token.logout();
    }
}

CK_SLOT_ID slotOf(const Pkcs11Library& library, const std::string& label) {
    for (const CK_SLOT_ID slot : library.slotsWithToken()) {
        if (fieldText(library.tokenInfo(slot).label) == label) return slot;
    }
    require(false, "finding the token");
    return 0;
}

int measure() {
    // Making objects, not listing them, would take minutes on a disk.
    if (std::filesystem::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 1);
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.path() / "tokens");
    std::ofstream(folder.file("conf")) << "directories.tokendir = " << folder.file("tokens") << "\n";
    ::setenv("SOFTHSM2_CONF", folder.file("conf").c_str(), 1);
    makeTokens();
    const Pkcs11Library library(softHsm); // loaded again, so that both sides have read the objects from their files
    ModuleHost host({"bench", softHsm, hostEnvironment(), {}});
    host.start();
    compareKeys(library, host, slotOf(library, labelFor(sizes[0])));
    for (const int objects : sizes) compareListings(library, host, slotOf(library, labelFor(objects)), objects);
    host.stop();
    return 0;
}

} // namespace

// The host of the module is this program, too: the service starts its own program as one.
int main(int argc, char** argv) {
    if (argc == 5 && std::string(argv[1]) == hostOption) return hostModule(argv[2], argv[4]);
    return measure();
}
