// The evaluator's slot stack: nesting across chunks, frames larger than a chunk, and the scope pass's guard.
#include "runtime/Environment.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

namespace
{

using namespace velmar::lua;

class ValueStackTest : public testing::Test
{
protected:
    Attention attention;
    ValueHeap heap{attention};
};

TEST_F(ValueStackTest, FramesNestAcrossChunksAndComeBackInOrder)
{
    ValueStack stack(heap);
    // Enough frames of 3 slots to fill several chunks; each frame's slots keep their values while
    // deeper ones come and go, and the room is reused after the frames are gone.
    std::vector<Value*> frames;
    const std::size_t depth = 3 * ValueStack::kChunkValues;
    for (std::size_t i = 0; i < depth; ++i)
    {
        Value* slots = stack.take(3);
        for (std::size_t j = 0; j < 3; ++j)
        {
            new (slots + j) Value(static_cast<long long>(i * 3 + j));
        }
        frames.push_back(slots);
    }
    const std::size_t bytesAtDepth = heap.bytesInUse();
    EXPECT_GE(bytesAtDepth, depth * 3 * sizeof(Value));
    for (std::size_t i = depth; i-- > 0;)
    {
        for (std::size_t j = 0; j < 3; ++j)
        {
            ASSERT_EQ(frames[i][j].integer(), static_cast<std::int64_t>(i * 3 + j));
            frames[i][j].~Value();
        }
        stack.give(frames[i]);
    }
    // Going as deep again takes exactly the same room: no chunk is added.
    Value* first = stack.take(3);
    EXPECT_EQ(first, frames[0]);
    for (std::size_t i = 1; i < depth; ++i)
    {
        ASSERT_EQ(stack.take(3), frames[i]);
    }
    EXPECT_EQ(heap.bytesInUse(), bytesAtDepth);
    stack.give(first);
}

TEST_F(ValueStackTest, AFrameLargerThanAChunkGetsOneOfItsOwn)
{
    ValueStack stack(heap);
    Value* small = stack.take(10);
    Value* large = stack.take(ValueStack::kChunkValues * 2 + 5);
    Value* after = stack.take(1); // lands in a further chunk: the large one is full
    EXPECT_NE(after, large + ValueStack::kChunkValues * 2 + 5 - 1);
    stack.give(after);
    stack.give(large);
    // The large frame's chunk is reused from its start until a frame below it goes.
    Value* reused = stack.take(4);
    EXPECT_EQ(reused, large);
    stack.give(reused);
    stack.give(small);
    EXPECT_EQ(stack.take(1), small);
}

TEST_F(ValueStackTest, AFrameThatSkipsAnEmptyChunkComesBackToTheRightOne)
{
    ValueStack stack(heap);
    Value* bottom = stack.take(ValueStack::kChunkValues - 2); // the first chunk, nearly full
    Value* middle = stack.take(5);                            // the second chunk
    stack.give(middle);                                       // the second chunk is empty again
    Value* huge = stack.take(ValueStack::kChunkValues * 3);   // too large for it: a third one
    stack.give(huge);
    // Giving back a frame of the first chunk passes over the empty second one: the stack is in the
    // first chunk again, so the next frame that does not fit there goes to the second, not the third.
    stack.give(bottom);
    EXPECT_EQ(stack.take(5), bottom);
    EXPECT_EQ(stack.take(ValueStack::kChunkValues), middle);
}

#if defined(VELMAR_LUA_CHECKED_SLOTS)
// The sanitizer and fuzz builds stop at a local whose slot the scope pass did not place (every script
// exercises the accessors themselves).
TEST_F(ValueStackTest, ABreachOfTheScopePassStopsCheckedBuilds)
{
    ValueStack stack(heap);
    Environment outer(stack, 2);
    Environment inner(stack, 1);
    inner.setParent(&outer);
    EXPECT_DEATH(slotIn(&inner, 1), "what the front end decided");
    EXPECT_DEATH(slotOut(&inner, 2, 0), "what the front end decided");
}
#endif

} // namespace
