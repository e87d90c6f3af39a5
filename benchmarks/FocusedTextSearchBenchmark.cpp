#include "Invocation/FocusedTextSearch.h"
#include "Support/FakeAccessibility.h"

#include <benchmark/benchmark.h>

namespace kestrelle {
namespace {

using test::FakeAccessibility;
using test::FakeNode;

// A window of 15 groups of 15 labels each, the focused field in the last group: 242 nodes,
// close to the search's budget, and all of them visited.
FakeNode largeWindow(const FakeNode& field) {
    std::vector<FakeNode> groups;
    for (int group = 0; group < 15; ++group) {
        std::vector<FakeNode> labels;
        for (int label = 0; label < 15; ++label) {
            labels.push_back(FakeAccessibility::node("AXStaticText"));
        }
        if (group == 14) {
            labels.back() = field;
        }
        groups.push_back(FakeAccessibility::group(std::move(labels)));
    }
    return FakeAccessibility::node("AXWindow", std::move(groups));
}

void focusedTextSearchOverALargeTree(benchmark::State& state) {
    FakeAccessibility accessibility;
    auto field = FakeAccessibility::textField();
    auto window = largeWindow(field);
    auto application = accessibility.addApplication(42, {window});
    FakeAccessibility::focus(application, window);
    field->focused = true;
    FocusedTextSearch search(accessibility);
    const auto applicationElement = FakeAccessibility::handle(application);
    for (auto _ : state) {
        auto found = search.focusedTextTarget(applicationElement);
        if (!found) {
            state.SkipWithError("the field was not found");
            break;
        }
        benchmark::DoNotOptimize(found);
    }
}
BENCHMARK(focusedTextSearchOverALargeTree)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace kestrelle
