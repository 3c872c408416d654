// SPDX-License-Identifier: MIT
#include "certs_fixture.h"

#include "../../support/running_service.h"

#include <platform/text/utf8_path.h>

namespace {

class ParsingACertFile : public WithCertsController {
protected:
    ParsingACertFile() { service->on(Command::ParseCertFile, Reaction::reply(hex("05 00 00 00"))); }

    // Makes a file with that UTF-8 name and returns its path.
    std::string file(const std::string& name, const std::string& content) const {
        const std::filesystem::path path = folder.path() / platform::toPath(name);
        std::ofstream(path, std::ios::binary) << content;
        return platform::fromPath(path);
    }
    // A file without content on the disk, of any size.
    std::string sparse(std::uintmax_t size) const {
        std::string path = file("sparse", "");
        std::filesystem::resize_file(platform::toPath(path), size);
        return path;
    }

    ParseCertFileResult parse(const char* path, const char* password = "") {
        return controller.ParseCertFile(path, password, tokens, options, crls);
    }
    ParseCertFileResult parse(const std::string& path) { return parse(path.c_str()); }

    const TemporaryFolder folder;
    std::vector<PKCS11::TokenInfo> tokens{2};
    std::vector<CertImportOption> options{1};
    std::vector<CRLInfo> crls;
};

TEST_F(ParsingACertFile, SendsItsBytesAsTheyAreAndTheText) {
    const std::string path = file("сертификат – 証明書 𝄞.pem", std::string("\r\n\0\x1a\xff\n", 6));
    EXPECT_EQ(parse(path.c_str(), "пин"), ParseCertFileResult{5});
    EXPECT_EQ(toHex(onlyPayload()), toHex(hex("06 00 00 00 0d 0a 00 1a ff 0a  06 00 00 00 d0 bf d0 b8 d0 bd")));
    EXPECT_EQ(parse(file("x", "1")), ParseCertFileResult{5});
    EXPECT_EQ(toHex(service->requests().back().payload), toHex(hex("01 00 00 00 '1'  00 00 00 00")));
}

TEST_F(ParsingACertFile, FillsTheListsOnSuccessOnly) {
    const std::string lists = joined({"01 00 00 00", tokenBytes, "01 00 00 00", certificateBytes,
                                      "03 00 00 00  01 00 00 00 00 00 00 00", "01 00 00 00", crlBytes});
    const std::string path = file("a.p12", "content");
    service->on(Command::ParseCertFile, Reaction::reply(hex("04 00 00 00") + lists));
    EXPECT_EQ(parse(path), ParseCertFileResult{4});
    EXPECT_EQ(tokens.size(), 2U);
    EXPECT_EQ(options.size(), 1U);
    EXPECT_TRUE(crls.empty());

    const std::string reply = hex("00 00 00 00") + lists;
    service->on(Command::ParseCertFile, Reaction::reply(reply));
    EXPECT_EQ(parse(path), ParseCertFileResult::success);
    EXPECT_THAT(tokens, ElementsAre(token));
    EXPECT_THAT(options, ElementsAre(CertImportOption{certificate, 3, {0}}));
    EXPECT_THAT(crls, ElementsAre(crl));

    for (std::size_t length = 0; length < reply.size(); ++length) {
        service->on(Command::ParseCertFile, Reaction::reply(reply.substr(0, length)));
        EXPECT_TRUE(throwsStreamError([&] { parse(path); })) << length;
    }
}

TEST_F(ParsingACertFile, SendsNothingOfAFileThatCannotBeReadWhole) {
    EXPECT_EQ(parse(nullptr), ParseCertFileResult::fileUnreadable);
    EXPECT_EQ(parse(""), ParseCertFileResult::fileUnreadable);
    EXPECT_EQ(parse(folder.file("missing")), ParseCertFileResult::fileUnreadable);
    EXPECT_EQ(parse(folder.file("missing/file")), ParseCertFileResult::fileUnreadable);
    EXPECT_EQ(parse(folder.path().string()), ParseCertFileResult::fileUnreadable) << "a folder";
    EXPECT_EQ(parse(file("empty", "")), ParseCertFileResult::fileUnreadable);
    for (const std::uintmax_t size :
         {std::uintmax_t{1} << 31, std::uintmax_t{1} << 32, (std::uintmax_t{1} << 32) + 5}) {
        EXPECT_EQ(parse(sparse(size)), ParseCertFileResult::fileUnreadable) << size;
    }
    EXPECT_THAT(service->requests(), testing::IsEmpty());
}

// Some system files report a wrong size.
TEST_F(ParsingACertFile, SendsNothingOfAFileThatEndsBeforeItsSize) {
    const std::string path = "/sys/class/net/lo/mtu";
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "this system has no such file";
    EXPECT_EQ(parse(path), ParseCertFileResult::fileUnreadable);
}

TEST_F(ParsingACertFile, TakesPathsOfUpTo4095Units) {
    const std::string path = file("x", "1");
    const auto lengthened = [&](std::size_t size) { // the same file, with many "./" in its path
        const std::string start = platform::fromPath(folder.path()) + "/";
        std::string detour;
        while (start.size() + detour.size() + 3 <= size) detour += "./";
        if (start.size() + detour.size() + 1 < size) detour += "/";
        return start + detour + "x";
    };
    ASSERT_EQ(lengthened(4095).size(), 4095U);
    ASSERT_EQ(lengthened(4096).size(), 4096U);
    EXPECT_EQ(parse(lengthened(4095)), ParseCertFileResult{5});
    EXPECT_EQ(parse(lengthened(4096)), ParseCertFileResult::fileUnreadable);
}

TEST_F(ParsingACertFile, ReadsOneTooLargeForTheBridgeAndSendsNothing) {
    EXPECT_EQ(parse(sparse(100U << 20)), ParseCertFileResult::notCarriedOut);
    EXPECT_EQ(bridge::lastFailure().code, bridge::FailureCode::tooLarge);
    EXPECT_THAT(service->requests(), testing::IsEmpty());
    EXPECT_EQ(parse(file("x", "1")), ParseCertFileResult{5}) << "the session is still good";
}

// Only Windows can lock writers out; elsewhere a file that is open for writing is read all the same.
TEST_F(ParsingACertFile, IsShutOutByAWriterWhereTheSystemCan) {
    constexpr bool systemCan = std::filesystem::path::preferred_separator == '\\';
    const std::string path = file("x", "1");
    std::ofstream writer(platform::toPath(path), std::ios::app);
    EXPECT_EQ(parse(path), systemCan ? ParseCertFileResult::fileUnreadable : ParseCertFileResult{5});
    writer.close();
    EXPECT_EQ(parse(path), ParseCertFileResult{5});
}

} // namespace
