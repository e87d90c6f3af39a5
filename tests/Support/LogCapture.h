#pragma once

#include "Runtime/Logger.h"

#include <memory>
#include <string>
#include <vector>

namespace kestrelle::test {

// Collects every log record while it lives. Tests run on one thread, so the sink needs no lock.
class LogCapture {
public:
    LogCapture() { Logger::setSink(sink_); }
    ~LogCapture() { Logger::setSink(nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogRecord>& records() const { return sink_->records; }
    std::vector<std::string> messages() const {
        std::vector<std::string> messages;
        for (const auto& record : records()) {
            messages.push_back(record.message);
        }
        return messages;
    }
    void clear() { sink_->records.clear(); }

private:
    struct Sink : LogSink {
        void write(const LogRecord& record) override { records.push_back(record); }
        std::vector<LogRecord> records;
    };
    std::shared_ptr<Sink> sink_ = std::make_shared<Sink>();
};

} // namespace kestrelle::test
