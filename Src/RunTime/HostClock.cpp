#include "RunTime/HostClock.hpp"

#include <atomic>

namespace {
std::atomic<HostClocks*> host_clocks{nullptr};
}

HostClocks* install_host_clocks(HostClocks* host) {
    return host_clocks.exchange(host);
}

HostClocks* installed_host_clocks() {
    return host_clocks.load();
}
