#pragma once

#include "../util/Export.h"
#include "../util/mutexlock.h"

#include <QString>
#include <atomic>
#include <pthread.h>

/// Descriptor of the open device node, -1 when closed.
extern PDALINK_EXPORT std::atomic<int> g_fd;
/// True while a receiver reads an open node. Setting it to false stops the receiver, which closes the node.
extern PDALINK_EXPORT std::atomic<bool> g_hidRun;
/// True when something was received that nobody has taken yet.
extern PDALINK_EXPORT std::atomic<bool> g_isBufferCome;
/// Everything received since the buffer was last taken or emptied, 16 Mi characters at most. Guarded by
/// g_lock_buffer.
extern PDALINK_EXPORT QString g_buffer;
extern PDALINK_EXPORT cmutexlock g_lock_buffer;
/// The receiver thread started last. The library ends it and frees it itself; a host that joins or detaches
/// it does no harm.
extern PDALINK_EXPORT pthread_t g_run_thread;
/// Path of the device node found last; empty when none was found.
extern PDALINK_EXPORT QString g_strSerialPort;

static_assert(sizeof(std::atomic<int>) == sizeof(int) && ATOMIC_INT_LOCK_FREE == 2,
              "hosts may declare g_fd as an int");
static_assert(sizeof(std::atomic<bool>) == sizeof(bool) && ATOMIC_BOOL_LOCK_FREE == 2,
              "hosts may declare the two flags as bools");

/// The channel to the terminal. The class has no data: every object acts on the process's one channel.
///
/// To be used from one thread at a time. A receiver thread of the library's own fills g_buffer meanwhile.
class PDALINK_EXPORT CHIDDevice {
public:
    /// Sets g_fd to -1.
    CHIDDevice();
    /// Stops the receiver, waits for its end and closes the node.
    ~CHIDDevice();
    CHIDDevice(const CHIDDevice&) = delete;
    CHIDDevice& operator=(const CHIDDevice&) = delete;

    /// Looks for the terminal by g_Vid and g_Pid, stores its node in g_strSerialPort and starts a receiver on
    /// it; an earlier receiver is stopped first, unless it is still opening this very node. Without a
    /// terminal the channel stays as it is. Always returns true: g_hidRun tells, a moment later, whether the
    /// node is open.
    bool openHidDevice();

    /// Waits up to about 4.9 s for data, then 100 ms more for the rest of the message, and takes the whole
    /// buffer. Returns what was received, empty when nothing was.
    QString getBuffer();

    /// Empties the receive buffer.
    void clearBuffer();

    /// Empties the receive buffer and writes `text`, as UTF-8, in one write(2); the kernel takes
    /// 16384 bytes at most. Returns true when every byte was written; a closed or failing node sets g_hidRun
    /// to false.
    bool SendData(const QString& text);

    /// Writes the `len` bytes of `buf` in the same way. A closed channel is opened first, but not waited for:
    /// this write fails, a later one succeeds.
    bool SendData(char* buf, int len);

    /// Diagnostic: writes like SendData(char*, int) and prints the number of bytes written, as a line, to
    /// standard output.
    bool SendData_test(unsigned char* buf, int len);
};

/// The channel object whose destruction, at unload, ends the receiver.
extern PDALINK_EXPORT CHIDDevice g_HIDDevice;

/// Reads the node at g_strSerialPort on the calling thread: opens it, reads it until g_hidRun is false,
/// closes it. Returns at once when another receiver reads the node. The argument is ignored. Returns null.
PDALINK_EXPORT void* run_proc(void* ignored);
