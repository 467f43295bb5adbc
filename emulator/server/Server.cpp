// SPDX-License-Identifier: Apache-2.0
#include "emulator/server/Server.h"

#include <fcntl.h>
#include <linux/videodev2.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/un.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>

namespace vek::emulator {

namespace {

using sim::NodeFile;

/// Sends an answer, with what follows it and a descriptor where there is one. Who went away does not get it.
void send(int channel, const SAnswer& answer, std::span<const std::uint8_t> argument = {},
          std::span<const std::uint8_t> array = {}, int memory = -1) {
    SAnswer header = answer;
    header.argumentBytes = static_cast<std::uint32_t>(argument.size());
    header.arrayBytes = static_cast<std::uint32_t>(array.size());
    iovec parts[] = {{&header, sizeof(header)},
                     {const_cast<std::uint8_t*>(argument.data()), argument.size()},
                     {const_cast<std::uint8_t*>(array.data()), array.size()}};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    if (memory >= 0) {
        message.msg_control = control;
        message.msg_controllen = sizeof(control);
        cmsghdr* const rights = CMSG_FIRSTHDR(&message);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(rights), &memory, sizeof(int));
    }
    sendmsg(channel, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
}

bool isExtended(std::uint64_t request) {
    return request == VIDIOC_G_EXT_CTRLS || request == VIDIOC_S_EXT_CTRLS || request == VIDIOC_TRY_EXT_CTRLS;
}

bool isBuffer(std::uint64_t request) {
    return request == VIDIOC_QUERYBUF || request == VIDIOC_QBUF || request == VIDIOC_DQBUF ||
           request == VIDIOC_PREPARE_BUF;
}

/// Lets an argument's pointer lead to what came with it while it lives, then to where it led in the program.
class CArrayPointer {
public:
    CArrayPointer(std::uint64_t request, std::vector<std::uint8_t>& argument, std::vector<std::uint8_t>& array) {
        void* const place = array.empty() ? nullptr : array.data();
        if (isExtended(request)) {
            auto& controls = *reinterpret_cast<v4l2_ext_controls*>(argument.data());
            mFits = array.size() == controls.count * sizeof(v4l2_ext_control);
            Point(controls.controls, place);
        } else if (isBuffer(request)) {
            auto& buffer = *reinterpret_cast<v4l2_buffer*>(argument.data());
            if (V4L2_TYPE_IS_MULTIPLANAR(buffer.type)) {
                mFits = array.size() == buffer.length * sizeof(v4l2_plane);
                Point(buffer.m.planes, place);
            }
        }
    }
    ~CArrayPointer() {
        if (mAt != nullptr) {
            std::memcpy(mAt, &mTheirs, sizeof(mTheirs));
        }
    }
    CArrayPointer(const CArrayPointer&) = delete;
    CArrayPointer& operator=(const CArrayPointer&) = delete;

    bool Fits() const { return mFits; }

private:
    template <class T>
    void Point(T*& pointer, void* place) {
        mAt = &pointer;
        mTheirs = pointer;
        pointer = static_cast<T*>(place);
    }

    void* mAt = nullptr;
    void* mTheirs = nullptr;
    bool mFits = true;
};

/// A frame in memory of its own.
CHandle frameMemory(std::span<const std::uint8_t> bytes) {
    CHandle memory(memfd_create(kFrameMemory, MFD_CLOEXEC));
    for (std::size_t done = 0; memory && done < bytes.size();) {
        const ssize_t count = write(memory.Get(), bytes.data() + done, bytes.size() - done);
        if (count <= 0) {
            memory.Reset();
            break;
        }
        done += static_cast<std::size_t>(count);
    }
    return memory;
}

} // namespace

CServer::CServer(sim::CVideoNode& node, CShadowTree& shadow, const std::string& token)
    : mNode(node), mShadow(shadow), mEpoll(checked(epoll_create1(EPOLL_CLOEXEC), "epoll")),
      mListener(checked(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "socket")),
      mTimer(checked(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timer")),
      mBuffer(kMostArgument + kMostArray) {
    const std::string name = kAddressStart + token;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    name.copy(address.sun_path + 1, sizeof(address.sun_path) - 1);
    const auto bytes = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    constexpr int kBacklog = 4096;
    if (bind(mListener.Get(), reinterpret_cast<const sockaddr*>(&address), bytes) != 0 ||
        listen(mListener.Get(), kBacklog) != 0) {
        failedTo("cannot listen for the program");
    }
    Add(mListener.Get(), [this] { Accept(); });
    Add(mTimer.Get(), [this] {
        std::uint64_t count = 0;
        // Why the server woke up is all that there is to it: every round looks at the clock.
        [[maybe_unused]] const ssize_t got = ::read(mTimer.Get(), &count, sizeof(count));
        mTimerAt = sim::NodeTime(0);
    });
    mShown = mNode.IsPlugged();
    mShadow.Show(mShown);
}

CServer::~CServer() = default;

void CServer::Add(int fd, std::function<void()> ready) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (epoll_ctl(mEpoll.Get(), EPOLL_CTL_ADD, fd, &event) != 0) {
        failedTo("epoll");
    }
    mReady[fd] = std::move(ready);
}

void CServer::Remove(int fd) {
    epoll_ctl(mEpoll.Get(), EPOLL_CTL_DEL, fd, nullptr);
    mReady.erase(fd);
}

void CServer::Watch(int fd, std::function<void()> ready) {
    Add(fd, std::move(ready));
}

void CServer::Run() {
    while (!mEnded) {
        Round(-1);
    }
}

void CServer::Finish() {
    while (Round(0)) {
    }
    mWaiting.clear();
    for (const auto& [id, file] : mFiles) {
        mNode.Close(id);
    }
    mFiles.clear();
}

bool CServer::Round(int timeout) {
    mNode.Advance();
    Settle();
    SetTimer();
    constexpr int kMost = 64;
    epoll_event events[kMost];
    const int count = epoll_wait(mEpoll.Get(), events, kMost, timeout);
    // Who closed a file and asks about another one finds it closed.
    std::stable_partition(events, events + std::max(count, 0),
                          [](const epoll_event& event) { return (event.events & EPOLLHUP) != 0; });
    for (int i = 0; i < count; ++i) {
        // What was sent before a hang-up comes first.
        constexpr int kMostBefore = 64;
        const int times = (events[i].events & EPOLLHUP) != 0 ? kMostBefore : 1;
        for (int k = 0; k < times; ++k) {
            const auto ready = mReady.find(events[i].data.fd);
            if (ready == mReady.end()) {
                break;
            }
            const std::function<void()> call = ready->second; // which may take itself out
            call();
        }
    }
    return count > 0;
}

void CServer::SetTimer() {
    const std::optional<sim::NodeTime> due = mNode.NextDue();
    const sim::NodeTime at = due.value_or(sim::NodeTime(0));
    if (at == mTimerAt) {
        return;
    }
    mTimerAt = at;
    constexpr std::int64_t kBillion = 1000000000;
    itimerspec time{};
    time.it_value.tv_sec = static_cast<time_t>(at.count() / kBillion);
    time.it_value.tv_nsec = static_cast<long>(at.count() % kBillion);
    timerfd_settime(mTimer.Get(), TFD_TIMER_ABSTIME, &time, nullptr);
}

// --- Connections -----------------------------------------------------------------------------------------------------

void CServer::Accept() {
    while (true) {
        const int fd = accept4(mListener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) {
            return;
        }
        mUnknown.emplace(fd, CHandle(fd));
        Add(fd, [this, fd] { Begin(fd); });
        Begin(fd);
    }
}

void CServer::Begin(int fd) {
    SRequest request;
    const ssize_t bytes = recv(fd, &request, sizeof(request), MSG_DONTWAIT);
    if (bytes < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    CHandle connection = std::move(mUnknown.at(fd));
    mUnknown.erase(fd);
    Remove(fd);
    if (bytes != sizeof(request) || request.magic != kMagic) {
        return;
    }
    SAnswer answer;
    if (request.ask != EAsk::Open) {
        answer.result = AnswerAlone(request);
        send(fd, answer);
        return;
    }
    const NodeFile id = mNextFile++;
    answer.result = mNode.Open(id);
    if (answer.result == 0) {
        SFile& file = mFiles[id];
        file.connection = std::move(connection);
        file.inode = request.value;
        Add(fd, [this, id] { Receive(id); });
    }
    send(fd, answer);
}

void CServer::Receive(NodeFile id) {
    const auto file = mFiles.find(id);
    if (file != mFiles.end() && !file->second.closed) {
        ReceiveCall(id, file->second);
    }
}

void CServer::ReceiveCall(NodeFile id, SFile& file) {
    SCall call;
    call.file = id;
    iovec parts[] = {{&call.request, sizeof(call.request)}, {mBuffer.data(), mBuffer.size()}};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = std::size(parts);
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    const ssize_t bytes = recvmsg(file.connection.Get(), &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (bytes < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    const cmsghdr* const rights = CMSG_FIRSTHDR(&message);
    if (rights != nullptr && rights->cmsg_type == SCM_RIGHTS) {
        int channel = -1;
        std::memcpy(&channel, CMSG_DATA(rights), sizeof(channel));
        call.channel = CHandle(channel);
    }
    if (bytes <= 0) {
        // No process has the file open any more.
        Remove(file.connection.Get());
        file.closed = true;
        // Who waits for frames to come holds the file as a call in a driver does; who only watches it does not.
        for (auto waiting = mWaiting.begin(); waiting != mWaiting.end();) {
            const auto each = waiting++;
            if (each->file == id && each->request.ask == EAsk::Poll) {
                Unpark(each);
            }
        }
        CloseIfDone(id);
        return;
    }
    const std::size_t follows = call.request.argumentBytes + std::size_t{call.request.arrayBytes};
    const bool whole = static_cast<std::size_t>(bytes) == sizeof(SRequest) + follows;
    if (!call.channel || call.request.magic != kMagic || !whole || call.request.argumentBytes > kMostArgument) {
        return; // nothing that the library sends
    }
    const auto argument = mBuffer.begin() + call.request.argumentBytes;
    call.argument.assign(mBuffer.begin(), argument);
    call.array.assign(argument, argument + call.request.arrayBytes);
    Serve(std::move(call));
}

void CServer::CloseIfDone(NodeFile id) {
    const auto file = mFiles.find(id);
    if (file != mFiles.end() && file->second.closed && file->second.mappings == 0 && file->second.calls == 0) {
        mNode.Close(id);
        mFiles.erase(file);
    }
}

// --- Calls -----------------------------------------------------------------------------------------------------------

void CServer::Serve(SCall call) {
    if (!Answer(call)) {
        Park(std::move(call));
    }
    // What a call changed, another one may have waited for.
    Settle();
}

bool CServer::Answer(SCall& call) {
    switch (call.request.ask) {
    case EAsk::Ioctl:
        return AnswerIoctl(call);
    case EAsk::Read:
        return AnswerRead(call);
    case EAsk::Poll:
        return AnswerPoll(call);
    case EAsk::Map:
        AnswerMap(call);
        return true;
    default:
        return true; // no such call: the channel closes
    }
}

bool CServer::AnswerIoctl(SCall& call) {
    const std::uint64_t number = call.request.number;
    SAnswer answer;
    // The simulated driver keeps a record of requests for tests in its own process.
    constexpr std::uint64_t kKept = 1024;
    if (++mRequests % kKept == 0) {
        mNode.Camera()->ClearRequests();
    }
    if ((call.request.flags & kBadArgument) != 0) {
        // The driver's own view without an argument: gone, unknown, and only then what is wrong with it.
        answer.result = mNode.Ioctl(call.file, number, nullptr);
        answer.result = answer.result == -EFAULT ? -static_cast<std::int64_t>(call.request.value) : answer.result;
        send(call.channel.Get(), answer);
        return true;
    }
    const std::size_t size = _IOC_SIZE(number);
    call.argument.resize(size);
    std::vector<std::uint8_t> argument = call.argument; // a call that waits begins anew
    std::vector<std::uint8_t> array = call.array;
    bool fits = true;
    {
        const CArrayPointer pointer(number, argument, array);
        fits = pointer.Fits();
        answer.result =
            fits ? mNode.Ioctl(call.file, number, size > 0 ? static_cast<void*>(argument.data()) : &argument) : -EINVAL;
    }
    if (answer.result == -EAGAIN && (call.request.flags & kMayWait) != 0) {
        return false;
    }
    const bool out = (_IOC_DIR(number) & _IOC_READ) != 0 && (answer.result == 0 || (isExtended(number) && fits));
    CHandle memory;
    if (number == VIDIOC_EXPBUF && answer.result == 0) {
        const auto& exported = *reinterpret_cast<const v4l2_exportbuffer*>(argument.data());
        memory = CHandle(exported.fd);
        if ((exported.flags & O_ACCMODE) != O_RDWR) {
            // Another open file of the same memory, which cannot be written to.
            const std::string link = "/proc/self/fd/" + std::to_string(memory.Get());
            memory = CHandle(open(link.c_str(), O_RDONLY | O_CLOEXEC));
        }
    }
    if ((number == VIDIOC_REQBUFS || number == VIDIOC_CREATE_BUFS) && answer.result == 0) {
        mGeneration += number == VIDIOC_REQBUFS ? 1 : 0;
    }
    if (out) {
        send(call.channel.Get(), answer, argument, array, memory.Get());
    } else {
        send(call.channel.Get(), answer);
    }
    return true;
}

bool CServer::AnswerRead(SCall& call) {
    constexpr std::uint64_t kMost = std::uint64_t{1} << 30;
    std::vector<std::uint8_t> frame(std::min({call.request.value, kMost, std::uint64_t{mNode.Camera()->FrameSize()}}));
    std::uint8_t none = 0;
    SAnswer answer;
    answer.result = mNode.Read(call.file, frame.empty() ? &none : frame.data(), frame.size());
    if (answer.result == -EAGAIN && (call.request.flags & kMayWait) != 0) {
        return false;
    }
    if (answer.result <= 0) {
        send(call.channel.Get(), answer);
        return true;
    }
    const CHandle memory = frameMemory(std::span(frame).first(static_cast<std::size_t>(answer.result)));
    answer.result = memory ? answer.result : -ENOMEM;
    send(call.channel.Get(), answer, {}, {}, memory.Get());
    return true;
}

bool CServer::AnswerPoll(SCall& call) {
    // A call that waits has had its first answer already.
    const bool again = (call.request.flags & kAnswered) != 0;
    SAnswer answer;
    answer.result = mNode.Poll(call.file, static_cast<short>(call.request.number));
    answer.value = mNode.Arrivals();
    if ((call.request.flags & kEdge) != 0 && answer.value <= call.request.value) {
        answer.result = 0;
    }
    if (answer.result != 0 || !again) {
        send(call.channel.Get(), answer);
    }
    call.request.flags |= kAnswered;
    return answer.result != 0 || (call.request.flags & kMayWait) == 0;
}

void CServer::AnswerMap(SCall& call) {
    SAnswer answer;
    const std::optional<sim::SBufferMemory> memory = mNode.Memory(call.request.number, call.request.value);
    if (!memory) {
        answer.result = -EINVAL;
        send(call.channel.Get(), answer);
        return;
    }
    const std::int32_t process = call.request.process;
    SProcess& mapper = mProcesses[process];
    if (!mapper.handle) {
        mapper.handle = CHandle(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
        if (mapper.handle) {
            Add(mapper.handle.Get(), [this, process] { ForgetProcess(process); });
        }
    }
    answer.value = mNextMapping++;
    // A process that cannot be watched, in another namespace, has its mappings forgotten with the file.
    if (mapper.handle) {
        mMappings[answer.value] = {call.file, call.request.number, mGeneration, process};
        mapper.mappings.insert(answer.value);
        ++mFiles.at(call.file).mappings;
    }
    mNode.Mapped(call.request.number, true);
    send(call.channel.Get(), answer, {}, {}, memory->fd);
}

std::int64_t CServer::AnswerAlone(const SRequest& request) {
    switch (request.ask) {
    case EAsk::Unmap: {
        const auto mapping = mMappings.find(request.number);
        if (mapping != mMappings.end() && mapping->second.process == request.process) {
            Unmap(request.number);
        }
        return 0;
    }
    case EAsk::Started:
        ForgetProcess(request.process);
        return 0;
    case EAsk::IsCamera:
        return std::any_of(mFiles.begin(), mFiles.end(),
                           [&](const auto& file) { return file.second.inode == request.number; })
                   ? 1
                   : 0;
    default:
        return -EINVAL;
    }
}

void CServer::Unmap(std::uint64_t name) {
    const SMapping mapping = mMappings.at(name);
    mMappings.erase(name);
    if (mapping.generation == mGeneration) {
        mNode.Mapped(mapping.offset, false);
    }
    if (const auto process = mProcesses.find(mapping.process); process != mProcesses.end()) {
        process->second.mappings.erase(name);
    }
    if (const auto file = mFiles.find(mapping.file); file != mFiles.end()) {
        --file->second.mappings;
        CloseIfDone(mapping.file);
    }
}

void CServer::ForgetProcess(std::int32_t process) {
    const auto found = mProcesses.find(process);
    if (found == mProcesses.end()) {
        return;
    }
    while (!found->second.mappings.empty()) {
        Unmap(*found->second.mappings.begin());
    }
    if (found->second.handle) {
        Remove(found->second.handle.Get());
    }
    mProcesses.erase(found);
}

// --- Calls that wait -------------------------------------------------------------------------------------------------

void CServer::Park(SCall call) {
    const int channel = call.channel.Get();
    if (call.request.ask != EAsk::Poll) {
        ++mFiles.at(call.file).calls;
    }
    mWaiting.push_back(std::move(call));
    Add(channel, [this, channel] { Interrupted(channel); });
}

void CServer::Unpark(std::list<SCall>::iterator call) {
    const NodeFile id = call->file;
    Remove(call->channel.Get());
    if (call->request.ask != EAsk::Poll) {
        --mFiles.at(id).calls;
    }
    mWaiting.erase(call);
    CloseIfDone(id);
}

void CServer::Interrupted(int channel) {
    const auto call = std::find_if(mWaiting.begin(), mWaiting.end(),
                                   [channel](const SCall& each) { return each.channel.Get() == channel; });
    if (call == mWaiting.end()) {
        return;
    }
    SRequest cancel;
    recv(channel, &cancel, sizeof(cancel), MSG_DONTWAIT);
    SAnswer answer;
    answer.result = -EINTR;
    send(channel, answer);
    Unpark(call);
}

void CServer::Settle() {
    for (bool changed = true; changed;) {
        changed = false;
        for (auto call = mWaiting.begin(); call != mWaiting.end();) {
            const auto each = call++;
            if (Answer(*each)) {
                changed = changed || each->request.ask != EAsk::Poll;
                Unpark(each);
            }
        }
    }
    if (const bool plugged = mNode.IsPlugged(); plugged != mShown) {
        mShown = plugged;
        mShadow.Show(plugged);
    }
}

} // namespace vek::emulator
