#pragma once

#include "System/SystemWorkspace.h"

#include <string>
#include <vector>

namespace kestrelle::test {

// Records the links opened and the files revealed.
class FakeSystemWorkspace final : public SystemWorkspace {
public:
    void openUrl(std::string_view url) override { openedUrls.emplace_back(url); }
    void revealInFileViewer(std::string_view path) override { revealedPaths.emplace_back(path); }

    std::vector<std::string> openedUrls;
    std::vector<std::string> revealedPaths;
};

} // namespace kestrelle::test
