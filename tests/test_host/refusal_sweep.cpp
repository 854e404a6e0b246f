#include "test_host/refusal_sweep.h"

#include <gtest/gtest.h>

namespace tonvale::test {

namespace {

void sweep(int most, const std::function<void(const Refusal &)> &round, bool andAllBehind) {
    for (int request = 0; request < most; ++request) {
        SCOPED_TRACE(testing::Message() << "refused: request " << request
                                        << (andAllBehind ? " and all behind it" : " alone"));
        const int before = AllocationLimit::refusedByAll();
        round({.from = request, .until = andAllBehind ? INT64_MAX : request + 1});
        if (AllocationLimit::refusedByAll() > before)
            continue;
        EXPECT_GT(request, 0) << "nothing was asked for";
        return;
    }
    ADD_FAILURE() << most << " rounds were not enough";
}

} // namespace

void forEachRefusedRequest(int most, const std::function<void(const Refusal &)> &round) {
    sweep(most, round, false);
    sweep(most, round, true);
}

} // namespace tonvale::test
