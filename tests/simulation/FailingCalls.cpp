#include "FailingCalls.h"

#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

// What the supervising thread calls is meant to be the system's.
extern "C" long __real_syscall(long, ...); // NOLINT(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)

pdalink::test::FailingCalls::FailingCalls(std::vector<int> numbers, Fault fault)
    : m_numbers(std::move(numbers)),
      m_fault(fault),
      m_isWrite(!m_numbers.empty() && m_numbers.front() == SYS_write) {
    if (!m_numbers.empty()) {
        std::thread([this] { serve(); }).detach(); // before the filter, which it must not have
        installFilter();
    }
}

int pdalink::test::FailingCalls::next() {
    if (!m_isArmed) {
        return 0;
    }
    const int count = ++m_count;
    const int last = m_fault.isLasting ? count : m_fault.place + (m_isWrite ? 1 : 0);
    return count >= m_fault.place && count <= last ? m_fault.error : 0;
}

void pdalink::test::FailingCalls::installFilter() {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (const int number : m_numbers) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned int>(number), 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_USER_NOTIF));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    m_listener = static_cast<int>(
        __real_syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program));
    if (m_listener < 0) {
        throw std::system_error(errno, std::generic_category(), "seccomp");
    }
}

void pdalink::test::FailingCalls::serve() {
    while (true) {
        seccomp_notif request{};
        if (m_listener < 0 || ioctl(m_listener, SECCOMP_IOCTL_NOTIF_RECV, &request) != 0) {
            std::this_thread::yield();
            continue;
        }
        seccomp_notif_resp response{};
        response.id = request.id;
        const int error = next();
        const auto& [number, architecture, pointer, arguments] = request.data;
        if (error == 0) {
            response.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
        } else if (m_isWrite && m_count == m_fault.place) {
            response.val = __real_syscall(SYS_write, arguments[0], arguments[1], arguments[2] / 2);
        } else {
            response.error = -error;
            if (number == SYS_close) { // it fails, but the descriptor is gone
                __real_syscall(SYS_close, arguments[0]);
            }
        }
        ioctl(m_listener, SECCOMP_IOCTL_NOTIF_SEND, &response);
    }
}
