#include "Runtime/Observable.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

TEST(ObservableTest, DeliversTheCurrentValueAtOnceThenEveryAssignment) {
    Observable<int> value(1);
    std::vector<int> seen;
    auto subscription = value.subscribe([&](const int& v) { seen.push_back(v); });
    value.set(2);
    value.set(2);
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 2}));

    subscription.reset();
    value.set(3);
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 2}));
}

TEST(ObservableTest, WillChangeComesBeforeTheNewValueIsStored) {
    Observable<std::string> value("old");
    std::vector<std::string> events;
    auto will = value.subscribeWillChange([&] { events.push_back("will:" + value.get()); });
    auto did = value.subscribe([&](const std::string& v) { events.push_back("did:" + v); });
    value.set("new");
    EXPECT_EQ(events, (std::vector<std::string>{"did:old", "will:old", "did:new"}));
}

TEST(ObservableTest, ObserversMayUnsubscribeThemselvesAndOthersWhileNotified) {
    Observable<int> value(0);
    std::vector<std::string> events;
    Subscription second;
    Subscription first = value.subscribe([&](const int& v) {
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
    EXPECT_EQ(events, (std::vector<std::string>{"first 0", "second 0", "first 1"}));
}

TEST(ObservableTest, ASubscriptionMayOutliveTheValue) {
    Subscription subscription;
    {
        Observable<int> value(0);
        subscription = value.subscribe([](const int&) {});
    }
    subscription.reset();
}

} // namespace
} // namespace kestrelle
