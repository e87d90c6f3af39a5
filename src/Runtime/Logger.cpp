#include "Runtime/Logger.h"

#include <cstdio>
#include <mutex>

namespace kestrelle {

namespace {

std::mutex sinkMutex;

std::shared_ptr<LogSink>& installedSink() {
    static std::shared_ptr<LogSink> sink;
    return sink;
}

std::shared_ptr<LogSink> defaultSink() {
    static auto sink = std::make_shared<StderrLogSink>();
    return sink;
}

std::string_view levelName(LogLevel level) {
    switch (level) {
    case LogLevel::info:
        return "info";
    case LogLevel::notice:
        return "default";
    case LogLevel::error:
        return "error";
    }
    return "default";
}

} // namespace

void StderrLogSink::write(const LogRecord& record) {
    std::fprintf(stderr, "%s [%s] %s: %s\n", record.subsystem.c_str(), record.category.c_str(),
                 std::string(levelName(record.level)).c_str(), record.message.c_str());
}

void Logger::setSink(std::shared_ptr<LogSink> sink) {
    std::lock_guard lock(sinkMutex);
    installedSink() = std::move(sink);
}

std::shared_ptr<LogSink> Logger::sink() {
    std::lock_guard lock(sinkMutex);
    return installedSink() ? installedSink() : defaultSink();
}

void Logger::write(LogLevel level, std::string_view format,
                   std::initializer_list<std::string> arguments) const {
    std::string message;
    message.reserve(format.size());
    auto argument = arguments.begin();
    for (std::size_t index = 0; index < format.size(); ++index) {
        if (format.compare(index, 2, "{}") == 0 && argument != arguments.end()) {
            message += *argument++;
            ++index;
        } else {
            message.push_back(format[index]);
        }
    }
    sink()->write(LogRecord{subsystem_, category_, level, std::move(message)});
}

} // namespace kestrelle
