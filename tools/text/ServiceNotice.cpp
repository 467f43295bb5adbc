// SPDX-License-Identifier: Apache-2.0
#include "tools/text/ServiceNotice.h"

#ifdef VEKCAM_SYSTEMD
#include <systemd/sd-daemon.h>
#endif

#include <cstdlib>

namespace vek::tools {

#ifdef VEKCAM_SYSTEMD
CServiceNotice::CServiceNotice() : mListened(std::getenv("NOTIFY_SOCKET") != nullptr) {}

void CServiceNotice::Send(const std::string& text) const {
    if (mListened) {
        sd_notify(0, text.c_str());
    }
}
#else
CServiceNotice::CServiceNotice() : mListened(false) {}

void CServiceNotice::Send(const std::string& /*text*/) const {}
#endif

void CServiceNotice::Ready() const {
    Send("READY=1");
}

void CServiceNotice::Status(const std::string& line) const {
    Send("WATCHDOG=1\nSTATUS=" + line);
}

void CServiceNotice::Stopping() const {
    Send("STOPPING=1");
}

} // namespace vek::tools
