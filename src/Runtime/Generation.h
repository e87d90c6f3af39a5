#pragma once

#include <cstdint>

namespace kestrelle {

// Tells a suspended operation whether its result is still wanted. Take a token before the
// suspension; `advance()` invalidates every token taken before it. Main-thread object, like the
// state it guards.
//
//     Generation requests_;
//
//     void start() { handle_ = spawn(executor_, load(weak_from_this(), requests_.current())); }
//     void cancel() { requests_.advance(); }
//
//     static Task<void> load(std::weak_ptr<Owner> weak, Generation::Token token) {
//         auto text = co_await readSomething();          // a suspension: anything may change
//         auto self = weak.lock();
//         if (!self || !self->requests_.isCurrent(token)) {
//             co_return;                                 // cancelled or superseded meanwhile
//         }
//         self->apply(std::move(text));
//     }
//
// A spawned operation's own `cancel()` stops it at its next cancellation point; a generation also
// covers what runs outside it (callbacks, a result that arrives after the operation ended) and
// several operations at once.
class Generation {
public:
    class Token {
    public:
        friend bool operator==(Token, Token) = default;

    private:
        friend class Generation;
        explicit Token(std::uint64_t value) : value_(value) {}
        std::uint64_t value_;
    };

    Token current() const { return Token{value_}; }
    bool isCurrent(Token token) const { return token.value_ == value_; }
    // Makes every earlier token stale and returns the new current one.
    Token advance() { return Token{++value_}; }

private:
    std::uint64_t value_ = 0;
};

} // namespace kestrelle
