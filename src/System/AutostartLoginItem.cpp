#include "System/AutostartLoginItem.h"

#include "Storage/FileSystemError.h"

#include <fstream>
#include <iterator>

namespace kestrelle {

AutostartLoginItem::AutostartLoginItem(std::filesystem::path autostartDirectory,
                                       std::filesystem::path executable, AtomicFileWriting& writer,
                                       std::function<void(const std::filesystem::path&)> openFolder)
    : directory_(std::move(autostartDirectory)), executable_(std::move(executable)),
      writer_(writer), openFolder_(std::move(openFolder)) {}

std::string AutostartLoginItem::entryText() const {
    // Exec's quoting rule: a path with spaces or quotes is one double-quoted argument.
    std::string quoted = "\"";
    for (const char c : executable_.string()) {
        if (c == '"' || c == '`' || c == '$' || c == '\\') {
            quoted += '\\';
        }
        quoted += c;
    }
    quoted += '"';
    return "[Desktop Entry]\n"
           "Type=Application\n"
           "Name=Kestrelle\n"
           "Comment=Types saved passwords into other applications\n"
           "Exec=" +
           quoted +
           "\n"
           "Terminal=false\n"
           "X-GNOME-Autostart-enabled=true\n";
}

std::int64_t AutostartLoginItem::status() {
    std::ifstream stream(entry(), std::ios::binary);
    if (!stream) {
        return statusNotRegistered;
    }
    const std::string text{std::istreambuf_iterator<char>(stream), {}};
    return text == entryText() ? statusEnabled : statusNotRegistered;
}

void AutostartLoginItem::registerItem(Completion completion) {
    std::error_code error;
    std::filesystem::create_directories(directory_, error);
    try {
        if (error) {
            throw FileSystemError::noFile(
                "The folder “" + directory_.string() + "” could not be created", error);
        }
        writer_.write(entry(), entryText());
    } catch (const FileSystemError& failure) {
        completion(failure.description());
        return;
    }
    completion(std::nullopt);
}

void AutostartLoginItem::unregisterItem(Completion completion) {
    std::error_code error;
    std::filesystem::remove(entry(), error);
    if (error) {
        completion("The login item “" + entry().string() +
                   "” could not be removed: " + error.message());
        return;
    }
    completion(std::nullopt);
}

} // namespace kestrelle
