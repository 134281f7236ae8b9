#pragma once

#include <functional>

/// While it lives, something runs each time that this thread is about to take the receive buffer's lock.
class BufferLockWatch {
public:
    explicit BufferLockWatch(std::function<void()> action);
    ~BufferLockWatch();
    BufferLockWatch(const BufferLockWatch&) = delete;
    BufferLockWatch& operator=(const BufferLockWatch&) = delete;

private:
    std::function<void()> m_action;
};
