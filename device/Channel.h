#pragma once

#include <QString>

#include <sys/types.h>

/// The channel to the terminal as the library itself uses it. What fails for lack of memory throws here.
namespace pdalink::channel {

/// Looks for the terminal and starts a receiver on its node; see CHIDDevice::openHidDevice.
void open();

/// Stops the receiver and closes the node.
void close();

/// Waits for a message and takes it; see CHIDDevice::getBuffer.
QString receive();

/// Empties the receive buffer and sends a text. Returns true when it was written whole.
bool sendText(const QByteArray& utf8);

/// Empties the receive buffer and sends bytes. A closed channel is opened, for the next time. Returns true
/// when all were written.
bool sendBytes(const char* bytes, int length);

/// The same with other log lines. Returns the number of bytes written, -1 for none.
ssize_t sendForTest(const char* bytes, int length);

} // namespace pdalink::channel
