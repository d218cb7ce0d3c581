// The cancellation state of a thread, set for a scope; and the variables that threads share without a lock.
#include "common/cancel.h"
#include "common/relaxed.h"

#include <gtest/gtest.h>

namespace {

int CurrentState() {
    int state = -1;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    pthread_setcancelstate(state, nullptr);
    return state;
}

TEST(CancelState, IsSetForItsScopeAndThenWhatItWasBefore) {
    ASSERT_EQ(CurrentState(), PTHREAD_CANCEL_ENABLE);
    {
        const CancelOff off;
        EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_DISABLE);
        {
            const CancelOn on;
            EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_ENABLE);
            const CancelOn again;
            EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_ENABLE);
        }
        EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_DISABLE);
        {
            const CancelOff again;
            EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_DISABLE);
        }
        EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_DISABLE);
    }
    EXPECT_EQ(CurrentState(), PTHREAD_CANCEL_ENABLE);
}

TEST(Relaxed, IsZeroUnlessItIsGivenAValueAndTakesOne) {
    Relaxed<unsigned> empty;
    EXPECT_EQ(empty, 0U);
    Relaxed<unsigned> variable{7};
    EXPECT_EQ(variable, 7U);
    EXPECT_EQ(variable = 9, 9U);
    EXPECT_EQ(variable, 9U);
}

TEST(Relaxed, HasTheWidthOfItsValue) {
    EXPECT_EQ(sizeof(Relaxed<unsigned char>), 1U);
    EXPECT_EQ(sizeof(Relaxed<unsigned short>), 2U);
    EXPECT_EQ(sizeof(Relaxed<unsigned>), 4U);
}

} // namespace
