#include "Runtime/UnifiedLogSink_mac.h"

#include <os/log.h>

#include <map>
#include <mutex>
#include <utility>

namespace kestrelle {

namespace {

os_log_type_t typeOf(LogLevel level) {
    switch (level) {
    case LogLevel::info:
        return OS_LOG_TYPE_INFO;
    case LogLevel::notice:
        return OS_LOG_TYPE_DEFAULT;
    case LogLevel::error:
        return OS_LOG_TYPE_ERROR;
    }
    return OS_LOG_TYPE_DEFAULT;
}

class UnifiedLogSink final : public LogSink {
  public:
    void write(const LogRecord &record) override {
        // The Logger admits only public values into a message, so the whole line is public.
        os_log_with_type(logFor(record), typeOf(record.level), "%{public}s",
                         record.message.c_str());
    }

  private:
    // Log objects live as long as the process; loggers write from any thread.
    os_log_t logFor(const LogRecord &record) {
        std::lock_guard lock(mutex_);
        auto key = std::make_pair(record.subsystem, record.category);
        auto found = logs_.find(key);
        if (found == logs_.end()) {
            found =
                logs_.emplace(key, os_log_create(record.subsystem.c_str(), record.category.c_str()))
                    .first;
        }
        return found->second;
    }

    std::mutex mutex_;
    std::map<std::pair<std::string, std::string>, os_log_t> logs_;
};

} // namespace

std::shared_ptr<LogSink> makeUnifiedLogSink() { return std::make_shared<UnifiedLogSink>(); }

} // namespace kestrelle
