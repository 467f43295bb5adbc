// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vek::tools {

/// What a service tells its manager, by the protocol of sd_notify; nothing where none listens. NOTIFY_SOCKET says who.
class CServiceNotice {
public:
    CServiceNotice();

    /// Whether somebody listens.
    bool Listened() const { return mListened; }
    /// The service does its work from now on.
    void Ready() const;
    /// A line for people. It also says that the service is alive: the manager's watchdog waits for it.
    void Status(const std::string& line) const;
    /// The service ends.
    void Stopping() const;

private:
    void Send(const std::string& text) const;

    bool mListened;
};

} // namespace vek::tools
