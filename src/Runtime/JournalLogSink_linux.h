#pragma once

#include "Runtime/Logger.h"

#include <string>

namespace kestrelle {

// Writes each record to standard error, as the default sink does, and to systemd's journal when
// its socket is there, with the program's identifier and the level as the entry's priority. When
// standard error already goes to the journal (systemd names that stream in JOURNAL_STREAM), each
// record is written to the journal alone, so it is not there twice. Thread-safe.
class JournalLogSink final : public LogSink {
public:
    static constexpr const char* defaultSocketPath = "/run/systemd/journal/socket";

    explicit JournalLogSink(std::string socketPath = defaultSocketPath);
    ~JournalLogSink() override;
    JournalLogSink(const JournalLogSink&) = delete;
    JournalLogSink& operator=(const JournalLogSink&) = delete;

    void write(const LogRecord& record) override;

private:
    // Whether the journal took the record.
    bool send(const LogRecord& record) const;

    StderrLogSink standardError_;
    std::string socketPath_;
    int socket_;
    bool standardErrorIsJournal_;
};

} // namespace kestrelle
