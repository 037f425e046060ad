// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <chrono>

#include "platform/ara/core/future.h"

namespace ara::core {
namespace {

using std::chrono_literals::operator""ms;

TEST(FutureTest, FirstResultWins) {
  Promise<int> promise;
  Future<int> future = promise.get_future();
  promise.SetResult(1);
  promise.SetError(ErrorCode(5, "late"));
  EXPECT_EQ(future.GetResult().Value(), 1);
}

TEST(FutureTest, AbandonedPromiseAnswersWithAnError) {
  Future<int> dropped;
  Future<int> replaced;
  {
    Promise<int> promise;
    dropped = promise.get_future();
  }
  Promise<int> promise;
  replaced = promise.get_future();
  promise = Promise<int>();
  for (Future<int>* future : {&dropped, &replaced}) {
    ASSERT_EQ(future->wait_for(0ms), FutureStatus::kReady);
    EXPECT_EQ(future->GetResult().Error().Value(), Promise<int>::kBrokenPromise);
  }
}

}  // namespace
}  // namespace ara::core
