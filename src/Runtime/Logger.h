#pragma once

#include "Runtime/AppIdentity.h"
#include "Runtime/Uuid.h"

#include <concepts>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

namespace kestrelle {

// The unified log's levels that Kestrelle uses; `notice` is the log's default level.
enum class LogLevel { info, notice, error };

struct LogRecord {
    std::string subsystem;
    std::string category;
    LogLevel level;
    std::string message;
};

class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(const LogRecord& record) = 0;
};

// Writes one line per record to the standard error stream.
class StderrLogSink final : public LogSink {
public:
    void write(const LogRecord& record) override;
};

// Text that is known not to hold a secret: an identifier, a name, a status the program or the
// system made. Written out as it is, so wrapping text is a claim that it is public.
class PublicText {
public:
    explicit PublicText(std::string_view text) : text_(text) {}
    std::string_view view() const { return text_; }

private:
    std::string text_;
};

// What a log line may contain: numbers, identifiers, string literals and public text. Any other
// string is refused at compile time, so text decoded from a secret cannot reach a log by accident.
template <class T>
concept LogArgument = std::is_arithmetic_v<T> || std::same_as<T, Uuid> ||
    std::same_as<T, PublicText> ||
    (std::is_array_v<T>&& std::same_as<std::remove_cv_t<std::remove_extent_t<T>>, char>);

class Logger {
public:
    explicit Logger(std::string_view category, std::string_view subsystem = fixedBundleIdentifier)
        : subsystem_(subsystem), category_(category) {}

    // `format` holds one "{}" per argument.
    template <LogArgument... Args>
    void info(std::string_view format, const Args&... args) const {
        write(LogLevel::info, format, {toText(args)...});
    }
    template <LogArgument... Args>
    void notice(std::string_view format, const Args&... args) const {
        write(LogLevel::notice, format, {toText(args)...});
    }
    template <LogArgument... Args>
    void error(std::string_view format, const Args&... args) const {
        write(LogLevel::error, format, {toText(args)...});
    }

    const std::string& subsystem() const { return subsystem_; }
    const std::string& category() const { return category_; }

    // Where every logger writes; null restores the platform's default sink. Thread-safe.
    static void setSink(std::shared_ptr<LogSink> sink);
    static std::shared_ptr<LogSink> sink();

private:
    template <class T>
    static std::string toText(const T& value) {
        if constexpr (std::same_as<T, bool>) {
            return value ? "true" : "false";
        } else if constexpr (std::is_arithmetic_v<T>) {
            return std::to_string(value);
        } else if constexpr (std::same_as<T, Uuid>) {
            return value.toString();
        } else if constexpr (std::same_as<T, PublicText>) {
            return std::string(value.view());
        } else {
            return std::string(value);
        }
    }

    void write(LogLevel level, std::string_view format,
               std::initializer_list<std::string> arguments) const;

    std::string subsystem_;
    std::string category_;
};

} // namespace kestrelle
