// SPDX-License-Identifier: MIT
//
// Policy files, valid and damaged.
#include <service/policyfile/policy_text.h>

#include "../support/places.h"
#include "../support/test.h"

using namespace panelkitd;

namespace {

const std::string head = "title = Office\nversion = 1.2\n";

// The mistakes in a file; empty when there are none.
std::string problemsOf(const std::string& content) {
    try {
        readPolicyText(content);
        return {};
    } catch (const PolicyTextError& error) {
        return error.what();
    }
}

TEST(APolicyFile, IsReadIntoItsSections) {
    const PolicyText text = readPolicyText("\xEF\xBB\xBF# made by hand\r\n"
                                           "  title\t=  Офис = №1  \r\n"
                                           "version = 10.2.3\r\n"
                                           "description = for everybody\r\n"
                                           "\r\n"
                                           "; the office\r\n"
                                           "[ office-1 ]\r\n"
                                           "action = protect\r\n"
                                           "network = 10.0.0.0/8\r\n"
                                           "gateway = gate.example\r\n"
                                           "subject = CN=anna #1,O=Example\r\n"
                                           "[keyed]\r\n"
                                           "action=protect\r\n"
                                           "network=fd00::/8\r\n"
                                           "gateway=192.0.2.1\r\n"
                                           "authentication=preshared-key\r\n"
                                           "key=office\r\n"
                                           "[dhcp]\r\n"
                                           "action = pass\r\n"
                                           "protocol = udp\r\n"
                                           "port = 67..68"); // no line end
    EXPECT_EQ(text.title, "Офис = №1");
    EXPECT_EQ(text.version, "10.2.3");
    EXPECT_EQ(text.description, "for everybody");
    ASSERT_EQ(text.sections.size(), 3U);
    EXPECT_EQ(text.sections[0].name, "office-1");
    EXPECT_EQ(text.sections[0].line, 7U);
    EXPECT_EQ(text.sections[0].action, PolicyAction::protect);
    EXPECT_EQ(text.sections[0].gateway, "gate.example");
    EXPECT_EQ(text.sections[0].subject, "CN=anna #1,O=Example");
    EXPECT_EQ(text.sections[1].authentication, PolicyAuthentication::presharedKey);
    EXPECT_EQ(text.sections[1].key, "office");
    EXPECT_EQ(text.sections[2].network, "any");
    EXPECT_EQ(text.sections[2].port, "67..68");
    EXPECT_TRUE(text.remarks.empty());
}

// The example of docs/policy-file.md, which is indented by four blanks.
std::string documentedExample() {
    std::ifstream page(sourceFile("docs/policy-file.md"));
    std::string example;
    bool inside = false;
    for (std::string line; std::getline(page, line);) {
        if (line.rfind("    # The policy of", 0) == 0) inside = true;
        if (inside && !line.empty() && line.rfind("    ", 0) != 0) break;
        if (inside) example += line.empty() ? "\n" : line.substr(4) + "\n";
    }
    return example;
}

TEST(APolicyFile, IsAsItIsDocumented) {
    EXPECT_EQ(problemsOf(documentedExample()), "");
    const PolicyText text = readPolicyText(documentedExample());
    EXPECT_EQ(text.sections.size(), 4U);
    EXPECT_TRUE(text.remarks.empty());
}

struct Damage {
    const char* behindHead;
    const char* problem;
};

// The head has two lines, so the first one here is line 3.
const Damage damages[] = {
    {"[a]\n", "line 3: section [a] has no action"},
    {"[a]\naction = protct\n", "line 4: action: \"protct\" is not one of: protect, pass, drop"},
    {"[a]\nacton = pass\n", "line 4: \"acton\" is not a key of a section; there are: action, network, protocol, port, "
                            "gateway, authentication, subject, key"},
    {"author = me\n", "line 3: \"author\" is not a key of the head; there are: title, version, description"},
    {"title = Again\n", "line 3: \"title\" is given already, in line 1"},
    {"[a]\naction = pass\naction = drop\n", "line 5: \"action\" is given already, in line 4"},
    {"[a]\naction = pass\n[a]\naction = pass\nprotocol = tcp\n", "line 5: section [a] is there already, in line 3"},
    {"just text\n", "line 3: this is neither \"key = value\" nor \"[section]\" nor a comment"},
    {"description =\n", "line 3: description: the value is empty"},
    {"[a\naction = pass\n", "line 3: a section begins with its name in square brackets: up to 64 letters, digits, "
                            "'-', '_' and '.'"},
    {"[a]\naction = pass\nnetwork = 10.0.0.0/33\n", "line 5: network: \"10.0.0.0/33\" is not a network, such as "
                                                    "10.0.0.0/8, 10.0.0.1..10.0.0.9, fd00::/8 or any"},
    {"[a]\naction = pass\nprotocol = tpc\n",
     "line 5: protocol: \"tpc\" is not a protocol: any, tcp, udp, icmp, esp, ah, or a number from 0 to 255"},
    {"[a]\naction = pass\nport = 80\n", "line 3: section [a] has a port; its protocol must be tcp or udp"},
    {"[a]\naction = pass\nprotocol = tcp\nport = 80..79\n",
     "line 6: port: \"80..79\" is not a port, such as 443 or 67..68"},
    {"[a]\naction = protect\n", "line 3: section [a] protects and names no gateway"},
    {"[a]\naction = pass\ngateway = g\n", "line 3: section [a] has a gateway and does not protect"},
    {"[a]\naction = protect\ngateway = g\nauthentication = preshared-key\n",
     "line 3: section [a] names no preshared key"},
    {"[a]\naction = protect\ngateway = g\nkey = k\n",
     "line 3: section [a] has a key and does not authenticate with preshared-key"},
    {"[a]\naction = protect\ngateway = g\nauthentication = preshared-key\nkey = k\nsubject = CN=x\n",
     "line 3: section [a] has a subject and does not authenticate with a certificate"},
    {"[a]\naction = pass\nsubject = CN=x\n",
     "line 3: section [a] has a subject and does not authenticate with a certificate"},
    {"[a]\naction = protect\ngateway = two words\n", "line 5: gateway: \"two words\" is not a host name or address"},
    {"description = \xFF\n", "line 3: it is not UTF-8"},
    {"description = a\x1B[2J\n", "line 3: it has a control character"},
};

TEST(ADamagedPolicyFile, IsRefusedWithTheLine) {
    ASSERT_EQ(problemsOf(head), "");
    for (const Damage& damage : damages) EXPECT_EQ(problemsOf(head + damage.behindHead), damage.problem);
    EXPECT_EQ(problemsOf("version = 1\n[a]\naction = pass\n"), "line 2: the head before it has no title");
    EXPECT_EQ(problemsOf("title = T\nversion = 1..2\n"),
              "line 2: version: \"1..2\" is not a version, such as 3 or 1.2.10");
    EXPECT_THAT(problemsOf(head + std::string("description = a\0b\n", 18)), HasSubstr("line 3: it has a control"));
}

TEST(AValue, IsTakenUpToItsLimit) {
    const std::string pass = head + "[a]\naction = pass\n", protect = head + "[a]\naction = protect\n";
    const std::pair<std::string, std::string> rows[] = {
        {pass + "network = fd00::/128", pass + "network = fd00::/129"},
        {pass + "network = 10.0.0.1..10.0.0.1", pass + "network = 10.0.0.2..10.0.0.1"},
        {pass + "protocol = 255", pass + "protocol = 256"},
        {pass + "protocol = tcp\nport = 65535", pass + "protocol = tcp\nport = 65536"},
        {protect + "gateway = " + std::string(253, 'g'), protect + "gateway = " + std::string(254, 'g')},
    };
    for (const auto& [taken, refused] : rows) {
        EXPECT_EQ(problemsOf(taken), "");
        EXPECT_NE(problemsOf(refused), "") << refused;
    }
}

TEST(ADamagedPolicyFile, IsRefusedWithAllThatIsWrong) {
    EXPECT_EQ(problemsOf("[a]\naction = go\nport = x\n[b]\naction = pass\n"),
              "line 1: the head before it has no title\n"
              "line 1: the head before it has no version\n"
              "line 2: action: \"go\" is not one of: protect, pass, drop\n"
              "line 3: port: \"x\" is not a port, such as 443 or 67..68")
        << "what the section lacks may be where the mistakes are";
    EXPECT_THAT(problemsOf(head + "[a]\naction = go\n[b]\naction = protect\n"),
                HasSubstr("section [b] protects and names no gateway"));
    std::string many = head;
    for (int i = 0; i < 50; ++i) many += "nonsense\n";
    EXPECT_THAT(problemsOf(many), HasSubstr("line 22: this is neither"));
    EXPECT_THAT(problemsOf(many), HasSubstr("\nand 30 more"));
}

TEST(APolicyFile, HasLimitsToItsSize) {
    EXPECT_EQ(problemsOf(head + "#" + std::string(4095, 'x')), "");
    EXPECT_EQ(problemsOf(head + "#" + std::string(4096, 'x')), "line 3: it is longer than 4096 bytes");
    EXPECT_EQ(problemsOf(head + std::string((1U << 20) - head.size(), '\n')), "");
    EXPECT_EQ(problemsOf(head + std::string((1U << 20) - head.size() + 1, '\n')), "it is larger than 1 MiB");
    std::string sections = head;
    for (int i = 0; i < 1001; ++i) {
        sections += "[s" + std::to_string(i) + "]\naction = pass\nnetwork = 10.0.0." + std::to_string(i % 256) + "\n";
    }
    EXPECT_THAT(problemsOf(sections), HasSubstr("line 3003: there are more than 1000 sections"));
    EXPECT_LT(problemsOf(head + "[a]\naction = " + std::string(4000, 'x')).size(), 300U) << "pieces shown are cut";
}

TEST(APolicyFile, IsTakenWithRemarksOnWhatIsHardlyMeant) {
    EXPECT_EQ(inLines(readPolicyText(head).remarks), "line 2: there are no sections, so nothing is protected");
    EXPECT_EQ(inLines(readPolicyText(head + "[a]\naction = pass\n[b]\naction = drop\n").remarks),
              "line 5: section [b] never decides: section [a] before it is for the same traffic");
}

} // namespace
