// SPDX-License-Identifier: Apache-2.0
// What vekcam tells the manager of a service, by the protocol of sd_notify.
#include "Program.h"
#include "support/Files.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#ifdef VEKCAM_SYSTEMD

namespace vek::test {

namespace {

class Service : public CFileTest {
protected:
    void SetUp() override {
        CFileTest::SetUp();
        mSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = Path("notify");
        ASSERT_LT(path.size(), sizeof address.sun_path);
        std::memcpy(address.sun_path, path.data(), path.size());
        ASSERT_EQ(bind(mSocket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    void TearDown() override {
        close(mSocket);
        CFileTest::TearDown();
    }

    /// What a run has told, a message after the other.
    std::vector<std::string> ToldBy(const Arguments& arguments) {
        mResult = runVekcam(arguments, {.environment = {"NOTIFY_SOCKET=" + Path("notify")}});
        std::vector<std::string> messages;
        std::array<char, 4096> buffer{};
        for (ssize_t size = 0; (size = recv(mSocket, buffer.data(), buffer.size(), 0)) > 0;) {
            messages.emplace_back(buffer.data(), static_cast<std::size_t>(size));
        }
        return messages;
    }

    SResult mResult;
    int mSocket = -1;
};

const Arguments kSmall = {"--sim", "--width", "64", "--height", "64"};

TEST_F(Service, IsReadyAliveAndStopped) {
    for (const Arguments& command :
         {Arguments{"record", "-o", Path("run.vrec")}, Arguments{"capture"}, Arguments{"capture", "--discard"}}) {
        const std::vector<std::string> told = ToldBy(joined({command, kSmall, {"-n", "5"}}));
        EXPECT_EQ(mResult.exitCode, 0) << mResult.err;
        ASSERT_GE(told.size(), 3U) << command.front();
        EXPECT_EQ(told.front(), "READY=1");
        EXPECT_EQ(told[1].substr(0, 18), "WATCHDOG=1\nSTATUS=");
        expectPart(told[1], " frames");
        EXPECT_EQ(told.back(), "STOPPING=1");
    }
}

TEST_F(Service, IsAliveWhileNoFrameComes) {
    const std::vector<std::string> told =
        ToldBy(joined({{"record", "-o", Path("run.vrec")}, kSmall, {"--fps", "0.4", "-n", "1"}}));
    expectDone(mResult);
    // A frame after 2.5 seconds: the line is told twice a second, from one second on with how long it takes.
    EXPECT_GE(told.size(), 5U);
    EXPECT_TRUE(std::any_of(told.begin(), told.end(), [](const std::string& message) {
        return message.find("no frame for ") != std::string::npos;
    }));
}

TEST_F(Service, ThatCannotBeginIsNeverReady) {
    const std::vector<std::string> told = ToldBy({"record", "--device", "/dev/null", "-o", Path("run.vrec")});
    EXPECT_NE(mResult.exitCode, 0);
    EXPECT_TRUE(told.empty());
}

TEST_F(Service, NobodyListens) {
    const SResult result = runVekcam(joined({{"record", "-o", Path("run.vrec")}, kSmall, {"-n", "2"}}),
                                     {.environment = {"NOTIFY_SOCKET=" + Path("nobody")}});
    expectDone(result);
}

} // namespace

} // namespace vek::test

#endif
