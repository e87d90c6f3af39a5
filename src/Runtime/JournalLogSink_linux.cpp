#include "Runtime/JournalLogSink_linux.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace kestrelle {

namespace {

// syslog's priorities, which the journal keeps.
int priority(LogLevel level) {
    switch (level) {
    case LogLevel::info:
        return 6;
    case LogLevel::notice:
        return 5;
    case LogLevel::error:
        return 3;
    }
    return 5;
}

// systemd gives a service whose standard error it collects "device:inode" of that stream.
bool standardErrorIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (stream == nullptr || fstat(STDERR_FILENO, &status) != 0) {
        return false;
    }
    const std::string expected =
        std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    return expected == stream;
}

void appendField(std::string& entry, std::string_view name, std::string_view value) {
    entry += name;
    entry += '=';
    entry += value;
    entry += '\n';
}

// The journal's binary form, which lets the value hold line breaks: the name, a line break, the
// length as 64 bits little-endian, the value.
void appendBinaryField(std::string& entry, std::string_view name, std::string_view value) {
    entry += name;
    entry += '\n';
    auto length = static_cast<std::uint64_t>(value.size());
    for (int byte = 0; byte < 8; ++byte, length >>= 8) {
        entry += static_cast<char>(length & 0xFF);
    }
    entry += value;
    entry += '\n';
}

} // namespace

JournalLogSink::JournalLogSink(std::string socketPath)
    : socketPath_(std::move(socketPath)), socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      standardErrorIsJournal_(standardErrorIsJournal()) {}

JournalLogSink::~JournalLogSink() {
    if (socket_ >= 0) {
        ::close(socket_);
    }
}

void JournalLogSink::write(const LogRecord& record) {
    const bool sent = send(record);
    if (!sent || !standardErrorIsJournal_) {
        standardError_.write(record);
    }
}

bool JournalLogSink::send(const LogRecord& record) const {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    if (socket_ < 0 || socketPath_.size() >= sizeof(address.sun_path)) {
        return false;
    }
    std::memcpy(address.sun_path, socketPath_.data(), socketPath_.size());
    std::string entry;
    appendField(entry, "PRIORITY", std::to_string(priority(record.level)));
    appendField(entry, "SYSLOG_IDENTIFIER", "kestrelle");
    appendBinaryField(entry, "MESSAGE", "[" + record.category + "] " + record.message);
    // Without a journal listening, the socket is not there and this fails.
    return ::sendto(socket_, entry.data(), entry.size(), MSG_NOSIGNAL,
                    reinterpret_cast<const sockaddr*>(&address),
                    sizeof(address)) == static_cast<ssize_t>(entry.size());
}

} // namespace kestrelle
