#include "Invocation/KeystrokePlan.h"
#include "Support/FakeKeymapKeyboard.h"

#include <benchmark/benchmark.h>
#include <string>

namespace kestrelle {
namespace {

// Planning the keys for a password on a US keymap with eight free key codes: `state.range(0)`
// code points, one in four a character the keymap lacks, drawn from `state.range(1)` distinct
// ones, so every run of bindings covers at most eight of them.
void keystrokePlan(benchmark::State& state) {
    const auto keymap = test::FakeKeymapKeyboard::usKeymap(8);
    std::u32string text;
    for (std::int64_t index = 0; index < state.range(0); ++index) {
        text.push_back(index % 4 == 0 ? U'\u4E00' + char32_t(index / 4 % state.range(1))
                                      : U'a' + char32_t(index % 26));
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(planKeystrokes(keymap, text));
    }
}
BENCHMARK(keystrokePlan)->Args({38, 8})->Args({1000, 8})->Args({1000, 250});

} // namespace
} // namespace kestrelle
