// SPDX-License-Identifier: MIT
//
// Importing certificates and listing a token with thousands of them, against using that token directly.
#include <bench/office.h>

using bench::Maker;
using bench::Office;
using bench::OwnLook;
using bench::require;
using bench::secondsOfPanelctl;
using bench::secondsOfProgram;
using bench::softHsm;

namespace {

constexpr int certificates = 2000;
// From start to exit, with the same token. The others load its module themselves.
void compareTokenLists(const Office& office) {
    const auto ours = [&] { return secondsOfPanelctl(office.service(), {"token", "list"}); };
    bench::compare("panelctl token list", "pkcs11-tool -L", 31, ours, [] {
        return secondsOfProgram({"/usr/bin/pkcs11-tool", "--module", softHsm, "-L"});
    });
    bench::compare("panelctl token list", "p11tool --list-tokens", 31, ours, [] {
        return secondsOfProgram({"/usr/bin/p11tool", "--provider", softHsm, "--list-tokens"});
    });
}

// An import tells what the token has already, so the ratio depends on how many certificates `before` it has. The
// service has seen them before, as one that runs for a while has.
void compareImports(Office& office, OwnLook& look, Maker& maker, int before) {
    constexpr int bundle = 200;
    const auto begin = [&] {
        look.clear();
        for (const std::string& der : maker.next(before)) look.store(der);
        return maker.next(bundle);
    };
    const auto ours = [&] {
        std::string file;
        for (const std::string& der : begin()) file += pem(der);
        office.look();
        const std::string path = office.service().folder().file("bundle.pem");
        platform::replaceFile(path, file, true);
        return secondsOfPanelctl(office.service(), {"cert", "import", path, "--token", "Office"});
    };
    const auto theirs = [&] {
        const std::vector<std::string> all = begin();
        return bench::secondsOf([&] {
            for (const std::string& der : all) look.store(der);
        });
    };
    const std::string onto = before == 0 ? "an empty token" : "a token with " + std::to_string(before);
    bench::compare("importing 200 certificates to " + onto, "writing them, in one session", 5, ours, theirs);
}

} // namespace

int main() {
    // Making objects, not listing them, would take minutes on a disk.
    if (std::filesystem::is_directory("/dev/shm")) ::setenv("TMPDIR", "/dev/shm", 1);
    Office office;
    OwnLook look(office.service().state());
    Maker maker;
    compareTokenLists(office);
    for (const int before : {0, 400}) compareImports(office, look, maker, before);
    look.clear();
    maker = Maker();
    while (maker.made() < certificates) look.store(maker.next());
    const auto bare = [&] { return bench::secondsOf([&] { require(look.pass() == certificates, "the pass"); }); };
    const auto listing = [&] {
        return bench::secondsOf([&] { require(office.look() == certificates, "the listing"); });
    };
    const std::string many = std::to_string(certificates) + " certificates";
    const double first = listing();
    bench::printRow("first listing of " + many, "a bare pass over the token", {first / bare()});
    bench::compare("listing " + many, "a bare pass over the token", 21, listing, bare);
    const double named = secondsOfPanelctl(office.service(), {"cert", "show", "user 1234"});
    bench::printRow("panelctl shows one of them by name", "0.3 seconds", {named / 0.3});
    office.restart();
    const double afterStart = listing();
    bench::printRow("first listing after a start", "a bare pass over the token", {afterStart / bare()});
    return 0;
}
