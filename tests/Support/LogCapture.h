#pragma once

#include "Runtime/Logger.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace kestrelle::test {

// Collects every log record while it lives.
class LogCapture {
public:
    LogCapture() : sink_(std::make_shared<Sink>()) { Logger::setSink(sink_); }
    ~LogCapture() { Logger::setSink(nullptr); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LogRecord> records() const {
        std::lock_guard lock(sink_->mutex);
        return sink_->records;
    }
    std::vector<std::string> messages() const {
        std::vector<std::string> messages;
        for (const auto& record : records()) {
            messages.push_back(record.message);
        }
        return messages;
    }
    bool contains(const std::string& message) const {
        auto all = messages();
        return std::find(all.begin(), all.end(), message) != all.end();
    }
    void clear() {
        std::lock_guard lock(sink_->mutex);
        sink_->records.clear();
    }

private:
    struct Sink : LogSink {
        void write(const LogRecord& record) override {
            std::lock_guard lock(mutex);
            records.push_back(record);
        }
        mutable std::mutex mutex;
        std::vector<LogRecord> records;
    };
    std::shared_ptr<Sink> sink_;
};

} // namespace kestrelle::test
