#pragma once

#include "Runtime/OneShotContinuation.h"
#include "Runtime/SerialQueue.h"
#include "Runtime/Task.h"

#include <exception>
#include <type_traits>

namespace kestrelle {

// Runs the blocking `work` on `queue` and resumes the caller on its own executor with the
// result or the exception. The work is not interrupted by cancellation; the caller checks after.
// Bind a lambda with captures to a variable before `co_await offload(queue, std::move(work))`:
// GCC 12 destroys such a temporary twice when it is written inside the co_await expression.
template <class Work>
Task<std::invoke_result_t<Work&>> offload(SerialQueue& queue, Work work) {
    using Result = std::invoke_result_t<Work&>;
    co_return co_await withContinuation<Result>([&](OneShotContinuation<Result> done) {
        queue.async([work = std::move(work), done]() mutable {
            try {
                if constexpr (std::is_void_v<Result>) {
                    work();
                    done.resume();
                } else {
                    done.resume(work());
                }
            } catch (...) {
                done.resumeThrowing(std::current_exception());
            }
        });
    });
}

} // namespace kestrelle
