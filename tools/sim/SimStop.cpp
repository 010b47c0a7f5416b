#include "SimStop.h"

#include <chrono>
#include <csignal>

namespace {

volatile sig_atomic_t s_stop = 0;

void onSignal(int)
{
    s_stop = 1;
}

} // namespace

void CSimStop::install()
{
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A closed reader of our output must not kill us half-way.
    signal(SIGPIPE, SIG_IGN);
}

bool CSimStop::requested()
{
    return s_stop != 0;
}

int64_t CSimStop::nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
