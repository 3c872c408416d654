// SPDX-License-Identifier: MIT
//
// Other tests search the process that loads the test token module for secrets, so the module itself must not keep any.
// Only where memory can be read and there is no sanitizer with its shadow memory.
#include "token_consumer.h"

#include <platform/system/wipe.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t secretSize = 64;

char turned(char c) { return static_cast<char>(c ^ 0x55); }

// A secret with each byte inverted, so that the search does not find its own search text.
std::string makeTurnedSecret() {
    std::random_device device;
    std::string secret;
    for (std::size_t i = 0; i < secretSize; ++i) secret += turned(static_cast<char>('a' + device() % 26));
    return secret;
}

std::string plain(std::string secret) {
    std::ranges::transform(secret, secret.begin(), turned);
    return secret;
}

bool holds(std::string_view bytes, std::string_view turnedSecret) {
    const auto same = [](char c, char secret) { return turned(c) == secret; };
    return std::search(bytes.begin(), bytes.end(), turnedSecret.begin(), turnedSecret.end(), same) != bytes.end();
}

// Whether writable memory contains the end of the secret: the allocator overwrites the beginning of freed blocks.
bool isInMemory(const std::string& turnedSecret) {
    const std::string_view part = std::string_view(turnedSecret).substr(secretSize / 2);
    std::ifstream maps("/proc/self/maps");
    const int memory = ::open("/proc/self/mem", O_RDONLY | O_CLOEXEC);
    bool found = false;
    for (std::string line; !found && std::getline(maps, line);) {
        off_t begin = 0;
        off_t end = 0;
        char dash = 0;
        std::string access;
        std::istringstream(line) >> std::hex >> begin >> dash >> end >> access;
        if (!access.starts_with("rw")) continue;
        std::vector<char> bytes(static_cast<std::size_t>(end - begin));
        const ssize_t size = ::pread(memory, bytes.data(), bytes.size(), begin);
        found = size > 0 && holds({bytes.data(), static_cast<std::size_t>(size)}, part);
        platform::wipe(bytes.data(), bytes.size()); // what it holds now is a copy
    }
    ::close(memory);
    return found;
}

} // namespace

TEST_F(TheTestToken, KeepsNoSecretInTheMemoryOfItsProcess) {
    const std::string turnedPin = makeTurnedSecret();
    const std::string turnedKey = makeTurnedSecret();
    std::string pin = plain(turnedPin);
    std::string key = plain(turnedKey);
    const CK_SESSION_HANDLE session = open();
    std::string former = "1234";
    auto* pinBytes = reinterpret_cast<unsigned char*>(pin.data());
    EXPECT_EQ(p11->C_SetPIN(session, reinterpret_cast<unsigned char*>(former.data()), 4, pinBytes, secretSize), CKR_OK);
    EXPECT_EQ(p11->C_Login(session, CKU_USER, pinBytes, secretSize), CKR_OK);
    CK_OBJECT_CLASS secretKey = CKO_SECRET_KEY;
    CK_BBOOL yes = CK_TRUE;
    CK_ATTRIBUTE attributes[] = {
        {CKA_CLASS, &secretKey, sizeof secretKey}, {CKA_TOKEN, &yes, 1}, {CKA_VALUE, key.data(), secretSize}};
    CK_OBJECT_HANDLE object = 0;
    EXPECT_EQ(p11->C_CreateObject(session, attributes, 3, &object), CKR_OK);
    EXPECT_EQ(find(session).size(), 1U);

    EXPECT_TRUE(isInMemory(turnedPin) && isInMemory(turnedKey)) << "the search is blind";
    platform::wipe(pin);
    platform::wipe(key);
    EXPECT_FALSE(isInMemory(turnedPin));
    EXPECT_FALSE(isInMemory(turnedKey));
}
