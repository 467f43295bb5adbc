// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "emulator/Protocol.h"
#include "emulator/server/Handle.h"
#include "emulator/server/ShadowTree.h"

#include "sim/node/VideoNode.h"

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

namespace vek::emulator {

/// Answers the preloaded library for one camera. All on the thread that calls Run.
class CServer {
public:
    /// token: what makes the address this server's own. Throws std::runtime_error.
    CServer(sim::CVideoNode& node, CShadowTree& shadow, const std::string& token);
    ~CServer();
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    /// Calls ready on whenever a descriptor of the caller can be read.
    void Watch(int fd, std::function<void()> ready);
    void Unwatch(int fd) { Remove(fd); }
    /// Answers until End is called.
    void Run();
    void End() { mEnded = true; }
    /// What came in so far, and the end of all files: nobody asks any more.
    void Finish();

private:
    /// An open file of the node.
    struct SFile {
        CHandle connection;
        std::uint64_t inode = 0; ///< of the socket in the program
        unsigned mappings = 0;
        unsigned calls = 0; ///< that wait in DQBUF, DQEVENT or read
        bool closed = false;
    };
    struct SCall {
        sim::NodeFile file = 0;
        SRequest request;
        CHandle channel; ///< for the answer
        std::vector<std::uint8_t> argument;
        std::vector<std::uint8_t> array;
    };
    struct SMapping {
        sim::NodeFile file;
        std::uint64_t offset;
        std::uint64_t generation; ///< of the buffers
        std::int32_t process;
    };
    struct SProcess {
        CHandle handle;
        std::set<std::uint64_t> mappings;
    };

    void Accept();
    /// A connection of which it is not known what it is.
    void Begin(int fd);
    void Receive(sim::NodeFile id);
    void ReceiveCall(sim::NodeFile id, SFile& file);
    void Serve(SCall call);
    /// False: the call waits.
    bool Answer(SCall& call);
    bool AnswerIoctl(SCall& call);
    bool AnswerRead(SCall& call);
    bool AnswerPoll(SCall& call);
    void AnswerMap(SCall& call);
    std::int64_t AnswerAlone(const SRequest& request);
    /// Calls that wait, after something happened.
    void Settle();
    void Park(SCall call);
    void Unpark(std::list<SCall>::iterator call);
    void Interrupted(int channel);
    void Unmap(std::uint64_t name);
    void ForgetProcess(std::int32_t process);
    void CloseIfDone(sim::NodeFile id);
    void SetTimer();
    void Add(int fd, std::function<void()> ready);
    void Remove(int fd);
    /// One round; false: nothing came in.
    bool Round(int timeout);

    sim::CVideoNode& mNode;
    CShadowTree& mShadow;
    CHandle mEpoll;
    CHandle mListener;
    CHandle mTimer;
    std::unordered_map<int, std::function<void()>> mReady;
    std::map<int, CHandle> mUnknown; ///< connections that have said nothing yet
    std::map<sim::NodeFile, SFile> mFiles;
    std::list<SCall> mWaiting;
    std::map<std::uint64_t, SMapping> mMappings;
    std::map<std::int32_t, SProcess> mProcesses;
    std::uint64_t mGeneration = 0;
    std::uint64_t mRequests = 0;
    std::uint64_t mNextFile = 1;
    std::uint64_t mNextMapping = 1;
    std::vector<std::uint8_t> mBuffer;
    sim::NodeTime mTimerAt{};
    bool mShown = false;
    bool mEnded = false;
};

} // namespace vek::emulator
