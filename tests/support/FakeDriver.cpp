// SPDX-License-Identifier: Apache-2.0
#include "support/FakeDriver.h"

#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

namespace vek::test {

namespace {

CFakeDriver* gDriver = nullptr;
bool gAnswering = false;

struct SAnswering {
    SAnswering() { gAnswering = true; }
    ~SAnswering() { gAnswering = false; }
    SAnswering(const SAnswering&) = delete;
    SAnswering& operator=(const SAnswering&) = delete;
};

} // namespace

std::uint64_t SRequest::Sent(std::size_t offset, std::size_t size) const {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value |= std::uint64_t{sent.at(offset + i)} << (8 * i);
    }
    return value;
}

CFakeDriver::CFakeDriver() {
    gDriver = this;
}

CFakeDriver::~CFakeDriver() {
    gDriver = nullptr;
}

void CFakeDriver::Describe(std::size_t offset, std::size_t size, std::uint64_t value) {
    for (std::size_t i = 0; i < size; ++i) {
        mDescription.at(offset + i) = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

void CFakeDriver::ClearLog() {
    mLog.clear();
    mFailures.clear();
}

bool CFakeDriver::Answering() {
    return gAnswering;
}

int CFakeDriver::Answer(int fd, unsigned long number, void* argument) {
    const SAnswering answering;
    SRequest request;
    request.fd = fd;
    request.number = number;
    auto* const bytes = static_cast<std::uint8_t*>(argument);
    const std::size_t size = _IOC_SIZE(number);
    request.sent.assign(bytes, bytes + size);

    const auto scripted = mFailures.find(mLog.size());
    const SFailure* const failure = scripted != mFailures.end() ? &scripted->second : mFailAll ? &*mFailAll : nullptr;
    int result = 0;
    if (failure == nullptr || failure->fill) {
        result = Fill(number, bytes) ? 0 : -1;
    }
    if (result != 0) {
        errno = EINVAL;
    }
    if (failure != nullptr) {
        result = failure->result;
        errno = failure->error;
    }
    request.answered.assign(bytes, bytes + size);
    mLog.push_back(request);
    return result;
}

bool CFakeDriver::Fill(unsigned long number, std::uint8_t* bytes) {
    switch (number) {
    case kGetDescription:
        std::memcpy(bytes, mDescription.data(), mDescription.size());
        return true;
    case kSetDefectPixel:
        return true;
    case kGetRoi: {
        const auto found = mRegions.find(bytes[8]);
        if (found == mRegions.end()) {
            return false;
        }
        std::memcpy(bytes, found->second.data(), found->second.size());
        return true;
    }
    case kGetControl:
    case kSetControl: {
        std::uint32_t id = 0;
        std::memcpy(&id, bytes, sizeof id);
        const auto found = mControls.find(id);
        if (found == mControls.end()) {
            return false;
        }
        if (number == kGetControl) {
            std::memcpy(bytes + 4, &found->second, 4);
        } else {
            std::memcpy(&found->second, bytes + 4, 4);
        }
        return true;
    }
    default:
        return false;
    }
}

} // namespace vek::test

// Stands before the C library's function for everything in this program and the shared objects it loads.
extern "C" int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (vek::test::gDriver != nullptr) {
        return vek::test::gDriver->Answer(fd, request, argument);
    }
    return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}
