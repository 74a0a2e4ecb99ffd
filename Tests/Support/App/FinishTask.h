#pragma once

#include <QCoroTask>
#include <optional>
#include <utility>

#include "FakeMainContext.h"
#include "Support/Error.h"

namespace kelvane::testing {

/// Puts the answer of `task` into `place`, which must live until then.
template <class Answer>
QCoro::Task<void> keep(QCoro::Task<Answer> task, std::optional<Answer>* place) {
    Answer answer = co_await task;
    place->emplace(std::move(answer));
}

inline QCoro::Task<void> noteEnd(QCoro::Task<void> task, bool* ended) {
    co_await task;
    *ended = true;
}

/// Runs what was posted, and of the background work the newest first, until `isDone`: work that began before and waits
/// there stays under way. A task that waits for a timer or for older work ends the program.
template <class Condition>
void runUntil(FakeMainContext& context, const Condition& isDone) {
    do {
        context.runPosted();
    } while (!isDone() && context.stepNewestBackground());
    check(isDone(), "the task is done when nothing is left to run");
}

/// Runs `task` to its end, and gives its answer.
template <class Answer>
Answer finish(FakeMainContext& context, QCoro::Task<Answer> task) {
    std::optional<Answer> answer;
    const auto keeper = keep(std::move(task), &answer);
    runUntil(context, [&answer] { return answer.has_value(); });
    return std::move(*answer);
}

inline void finish(FakeMainContext& context, QCoro::Task<void> task) {
    bool ended = false;
    const auto keeper = noteEnd(std::move(task), &ended);
    runUntil(context, [&ended] { return ended; });
}

}  // namespace kelvane::testing
