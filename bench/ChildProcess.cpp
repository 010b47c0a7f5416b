#include "ChildProcess.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

CChildProcess::~CChildProcess()
{
    stop(500);
}

int CChildProcess::start(const std::vector<std::string>& argv, int cpu, const std::string& output)
{
    if (argv.empty() || m_pid > 0) {
        return -1;
    }
    std::vector<char*> args;
    for (const std::string& arg : argv) {
        args.push_back(const_cast<char*>(arg.c_str()));
    }
    args.push_back(nullptr);
    const pid_t parent = getpid();

    m_pid = fork();
    if (m_pid < 0) {
        return -1;
    }
    if (m_pid == 0) {
        // Never outlive the benchmark, whatever ends it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) {
            _exit(127);
        }
        if (cpu >= 0) {
            cpu_set_t set;
            CPU_ZERO(&set);
            CPU_SET(cpu, &set);
            sched_setaffinity(0, sizeof(set), &set);
        }
        const int fd = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            dup2(fd, 1);
            dup2(fd, 2);
            close(fd);
        }
        execv(args[0], args.data());
        _exit(127);
    }
    m_reaped = false;
    return 0;
}

long CChildProcess::peakRssKiB() const
{
    if (m_pid <= 0 || m_reaped) {
        return -1;
    }
    char path[64];
    snprintf(path, sizeof(path), "/proc/%d/status", static_cast<int>(m_pid));
    FILE* file = fopen(path, "r");
    if (file == nullptr) {
        return -1;
    }
    long kib = -1;
    char line[256];
    while (fgets(line, sizeof(line), file) != nullptr) {
        if (strncmp(line, "VmHWM:", 6) == 0) {
            kib = strtol(line + 6, nullptr, 10);
            break;
        }
    }
    fclose(file);
    return kib;
}

unsigned long long CChildProcess::cpuTimeNs() const
{
    if (m_pid <= 0 || m_reaped) {
        return 0;
    }
    const std::string dir = "/proc/" + std::to_string(m_pid) + "/task/";
    DIR* tasks = opendir(dir.c_str());
    if (tasks == nullptr) {
        return 0;
    }
    unsigned long long total = 0;
    while (dirent* task = readdir(tasks)) {
        if (task->d_name[0] == '.') {
            continue;
        }
        FILE* file = fopen((dir + task->d_name + "/schedstat").c_str(), "r");
        if (file == nullptr) {
            continue;
        }
        unsigned long long ns = 0;
        if (fscanf(file, "%llu", &ns) == 1) {
            total += ns;
        }
        fclose(file);
    }
    closedir(tasks);
    return total;
}

int CChildProcess::waitExit(int timeoutMs)
{
    for (int waited = 0;; waited += 10) {
        int status = 0;
        const pid_t r = waitpid(m_pid, &status, WNOHANG);
        if (r == m_pid) {
            m_reaped = true;
            m_status = status;
            return status;
        }
        if ((r < 0 && errno != EINTR) || waited >= timeoutMs) {
            return -1;
        }
        const timespec step = {0, 10 * 1000000L};
        nanosleep(&step, nullptr);
    }
}

bool CChildProcess::running()
{
    return m_pid > 0 && !m_reaped && waitExit(0) == -1 && !m_reaped;
}

int CChildProcess::stop(int graceMs)
{
    if (m_pid <= 0) {
        return -1;
    }
    if (!m_reaped) {
        kill(m_pid, SIGTERM);
        if (waitExit(graceMs) == -1) {
            kill(m_pid, SIGKILL);
            waitExit(2000);
        }
    }
    m_pid = -1;
    return m_status;
}
