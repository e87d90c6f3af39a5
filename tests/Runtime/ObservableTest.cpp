#include "Runtime/Observable.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using Events = std::vector<std::string>;

TEST(ObservableTest, DeliversTheCurrentValueAtOnceThenEveryAssignmentAfterWillChange) {
    Observable<std::string> value("old");
    Events events;
    auto will = value.subscribeWillChange([&] { events.push_back("will:" + value.get()); });
    auto did = value.subscribe([&](const std::string& v) { events.push_back("did:" + v); });
    value.set("new");
    value.set("new");
    did.reset();
    value.set("unseen");
    EXPECT_EQ(events,
              (Events{"did:old", "will:old", "did:new", "will:new", "did:new", "will:new"}));
}

TEST(ObservableTest, ObserversMayUnsubscribeThemselvesAndOthersWhileNotified) {
    Subscription first, second;
    Events events;
    {
        Observable<int> value(0);
        first = value.subscribe([&](const int& v) {
            events.push_back("first " + std::to_string(v));
            if (v == 1) {
                first.reset();
                second.reset();
            }
        });
        second =
            value.subscribe([&](const int& v) { events.push_back("second " + std::to_string(v)); });
        value.set(1);
        value.set(2);
        second = value.subscribe([](const int&) {});
    }
    second.reset(); // a subscription may outlive the value
    EXPECT_EQ(events, (Events{"first 0", "second 0", "first 1"}));
}

} // namespace
} // namespace kestrelle
