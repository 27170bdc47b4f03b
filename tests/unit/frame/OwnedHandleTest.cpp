#include "frame/OwnedHandle.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

namespace VexaSsl::test {
namespace {

std::vector<int> released;

void releaseNumber(const int* number) {
    released.push_back(*number);
}

struct Words {
    int low = 0;
    int high = 0;
};

int releaseWords(Words& words) {
    released.push_back(words.low);
    return 5;
}

using Pointer = OwnedHandle<int*, releaseNumber>;
using Structure = OwnedHandle<Words, releaseWords>;

class OwnedHandleTest : public testing::Test {
protected:
    OwnedHandleTest() { released.clear(); }

    int one = 1;
    int two = 2;
};

static_assert(!std::is_copy_constructible_v<Pointer> && !std::is_copy_assignable_v<Pointer>);
static_assert(std::is_nothrow_move_constructible_v<Pointer>);
static_assert(std::is_nothrow_move_assignable_v<Structure>);

TEST_F(OwnedHandleTest, valueIsReleasedOnceAtTheEnd) {
    {
        const Pointer handle(&one);
        EXPECT_TRUE(handle);
        EXPECT_EQ(handle.get(), &one);
        EXPECT_TRUE(released.empty());
    }
    EXPECT_EQ(released, std::vector<int>{1});
}

TEST_F(OwnedHandleTest, emptyOwnerReleasesNothing) {
    {
        const Pointer handle;
        EXPECT_FALSE(handle);
        EXPECT_EQ(handle.get(), nullptr);
    }
    EXPECT_TRUE(released.empty());
}

TEST_F(OwnedHandleTest, nullPointerMakesAnEmptyOwner) {
    {
        const Pointer handle(nullptr);
        EXPECT_FALSE(handle);
    }
    EXPECT_TRUE(released.empty());
}

TEST_F(OwnedHandleTest, structureOfZerosIsOwned) {
    {
        const Structure handle(Words{});
        EXPECT_TRUE(handle);
    }
    EXPECT_EQ(released, std::vector<int>{0});
}

TEST_F(OwnedHandleTest, moveLeavesTheSourceEmpty) {
    Pointer source(&one);
    const Pointer target(std::move(source));
    // A moved-from owner is well defined: empty. NOLINTBEGIN(*Move*,*-move)
    EXPECT_FALSE(source);
    EXPECT_EQ(source.get(), nullptr);
    // NOLINTEND(*Move*,*-move)
    EXPECT_EQ(target.get(), &one);
    EXPECT_TRUE(released.empty());
}

TEST_F(OwnedHandleTest, moveAssignmentReleasesTheFormerValue) {
    Pointer target(&one);
    target = Pointer(&two);
    EXPECT_EQ(released, std::vector<int>{1});
    EXPECT_EQ(target.get(), &two);
}

TEST_F(OwnedHandleTest, assigningAnEmptyOwnerReleasesAndEmpties) {
    Structure target(Words{1, 0});
    target = Structure();
    EXPECT_EQ(released, std::vector<int>{1});
    EXPECT_FALSE(target);
}

TEST_F(OwnedHandleTest, assignmentToItselfChangesNothing) {
    Pointer handle(&one);
    Pointer& same = handle;
    handle = std::move(same);
    EXPECT_TRUE(released.empty());
    EXPECT_EQ(handle.get(), &one);
}

TEST_F(OwnedHandleTest, takenValueIsTheCallersToRelease) {
    {
        Pointer handle(&one);
        EXPECT_EQ(handle.take(), &one);
        EXPECT_FALSE(handle);
    }
    EXPECT_TRUE(released.empty());
}

TEST_F(OwnedHandleTest, resetReleasesOnlyOnce) {
    Pointer handle(&one);
    handle.reset();
    handle.reset();
    EXPECT_EQ(released, std::vector<int>{1});
    EXPECT_FALSE(handle);
}

TEST_F(OwnedHandleTest, changeThroughTheAddressIsWhatIsReleased) {
    {
        Structure handle(Words{1, 0});
        handle.address()->low = 7;
    }
    EXPECT_EQ(released, std::vector<int>{7});
}

} // namespace
} // namespace VexaSsl::test
