// SPDX-License-Identifier: MIT
//
// A child process at the other end of a channel: what it receives, and what remains when it hangs or crashes.
#include <platform/bridge/channel_child.h>

#include "../../support/running_service.h"
#include "../../support/test.h"

#include <platform/bridge/frame.h>

#include <cstdlib>

using bridge::FrameHeader;
using bridge::FrameKind;
using bridge::FrameStatus;

namespace {

class AChannelChild : public testing::Test {
protected:
    static std::map<std::string, std::string> environment() {
        std::map<std::string, std::string> variables{{"GIVEN", "to the child"}};
        for (const char* needed : {"SystemRoot", "WINEPREFIX"}) { // without them Windows starts no process
            if (const char* value = std::getenv(needed)) variables[needed] = value;
        }
        return variables;
    }
    void send(std::uint32_t command, const std::string& body = {}) {
        writeFrame(child.channel(), {.kind = FrameKind::request, .command = command}, body, {5000});
    }
    FrameStatus receive(std::string& body, unsigned patience = 20'000) {
        FrameHeader header;
        const FrameStatus status = reader.readHeader(header, bridge::after(patience), {patience});
        return status == FrameStatus::done ? reader.readBody(header, body, bridge::defaultFrameLimit, {patience})
                                           : status;
    }
    std::string ask(std::uint32_t command, const std::string& body = {}) {
        std::string answer;
        send(command, body);
        EXPECT_EQ(receive(answer), FrameStatus::done);
        return answer;
    }
    void awaitEnd() {
        for (int i = 0; i < 1000 && !child.ended(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
        EXPECT_TRUE(child.ended());
    }

    bridge::ChannelChild child{{builtProgram("channel_echo"), "an argument"}, environment()};
    bridge::FrameReader reader{child.channel()};
};

TEST_F(AChannelChild, AnswersAndHasOnlyWhatItWasGiven) {
    EXPECT_EQ(ask(1, "hello"), "hello");
    const std::string large(3U << 20, 'x');
    EXPECT_EQ(ask(1, large), large);
    EXPECT_EQ(ask(4, "GIVEN"), "to the child");
    EXPECT_EQ(ask(4, "HOME"), "(not set)");
#ifndef _WIN32
    EXPECT_EQ(ask(5), "4") << "open files: the standard streams and the channel";
#endif
}

TEST_F(AChannelChild, ThatCrashesClosesTheChannelAndSaysHow) {
    std::string body;
    send(2);
    EXPECT_EQ(receive(body), FrameStatus::closed);
    awaitEnd();
    EXPECT_THAT(child.ending(), testing::AnyOf(testing::HasSubstr("signal 6"), testing::HasSubstr("status 3")));
}

TEST_F(AChannelChild, ThatHangsIsKilled) {
    std::string body;
    send(3);
    EXPECT_EQ(receive(body, 100), FrameStatus::timedOut);
    child.kill();
    EXPECT_EQ(receive(body), FrameStatus::closed);
    awaitEnd();
}

#ifndef _WIN32
// As when the parent has ended, whatever the child does.
TEST_F(AChannelChild, EndsWhenItsParentIsGone) {
    send(3);
    child.channel().close();
    awaitEnd();
    EXPECT_EQ(child.ending(), "exited with status 7");
}
#endif

TEST(AChannelChildThatIsNotThere, IsToldSo) {
    EXPECT_THROW(bridge::ChannelChild({builtProgram("nothing of that name")}, {}), std::runtime_error);
    EXPECT_THROW(bridge::ChannelParent("99999"), std::runtime_error);
}

} // namespace
