// The reference relay: the fastest program of the gateway's shape. One
// thread, one UDP socket on 127.0.0.1:LISTEN; per datagram one epoll_wait,
// one recvfrom and one sendto of the same bytes to 127.0.0.1:TO, and nothing
// else. With --plain it leaves out the epoll_wait (a blocking
// recvfrom/sendto loop), the bound for a program that waits on one socket.
//
//   lumbrix_bench_relay --listen LISTEN --to TO [--count N] [--seconds S] [--plain]
//
// It stops by itself after N datagrams or S seconds (the clock is read only
// when the socket has been idle or every 65536 datagrams) and prints how
// many it forwarded.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace {

double monotonicSeconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

sockaddr_in loopback(int port)
{
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return addr;
}

int usage(const char* self)
{
    fprintf(stderr, "usage: %s --listen PORT --to PORT [--count N] [--seconds S] [--plain]\n", self);
    return 2;
}

} // namespace

int main(int argc, char* argv[])
{
    int listenPort = -1;
    int toPort = -1;
    unsigned long long count = 10000000ull;
    double seconds = 60;
    bool plain = false;
    for (int i = 1; i < argc; ++i) {
        const bool hasValue = i + 1 < argc;
        if (strcmp(argv[i], "--listen") == 0 && hasValue) {
            listenPort = atoi(argv[++i]);
        } else if (strcmp(argv[i], "--to") == 0 && hasValue) {
            toPort = atoi(argv[++i]);
        } else if (strcmp(argv[i], "--count") == 0 && hasValue) {
            count = strtoull(argv[++i], nullptr, 10);
        } else if (strcmp(argv[i], "--seconds") == 0 && hasValue) {
            seconds = atof(argv[++i]);
        } else if (strcmp(argv[i], "--plain") == 0) {
            plain = true;
        } else {
            return usage(argv[0]);
        }
    }
    if (listenPort <= 0 || listenPort > 65535 || toPort <= 0 || toPort > 65535) {
        return usage(argv[0]);
    }

    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in local = loopback(listenPort);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof(local)) != 0) {
        perror("relay: socket");
        return 1;
    }
    // Idle wake-ups for the time bound only.
    timeval idle = {0, 200000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &idle, sizeof(idle));
    const int ep = epoll_create1(0);
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = fd;
    if (ep < 0 || epoll_ctl(ep, EPOLL_CTL_ADD, fd, &event) != 0) {
        perror("relay: epoll");
        return 1;
    }

    const sockaddr_in to = loopback(toPort);
    const double deadline = monotonicSeconds() + seconds;
    char buf[4096];
    unsigned long long forwarded = 0;
    while (forwarded < count) {
        if (!plain) {
            epoll_event ready;
            if (epoll_wait(ep, &ready, 1, 200) <= 0) {
                if (monotonicSeconds() >= deadline) {
                    break;
                }
                continue;
            }
        }
        sockaddr_in from;
        socklen_t fromLen = sizeof(from);
        const ssize_t len = recvfrom(fd, buf, sizeof(buf), 0, reinterpret_cast<sockaddr*>(&from), &fromLen);
        if (len < 0) {
            if (monotonicSeconds() >= deadline) {
                break;
            }
            continue;
        }
        sendto(fd, buf, static_cast<size_t>(len), 0, reinterpret_cast<const sockaddr*>(&to), sizeof(to));
        ++forwarded;
        if ((forwarded & 0xFFFF) == 0 && monotonicSeconds() >= deadline) {
            break;
        }
    }
    printf("relay: forwarded %llu datagrams\n", forwarded);
    close(ep);
    close(fd);
    return 0;
}
