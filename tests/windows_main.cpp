#include <gtest/gtest.h>

#include <malloc.h>
#include <windows.h>

namespace {

/// Looks through both heaps, the system's and the C library's, after each test: a write outside of
/// a block is the fault of that test.
class HeapCheck final : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo &) override {
        EXPECT_TRUE(HeapValidate(GetProcessHeap(), 0, nullptr));
        EXPECT_TRUE(HeapValidate(reinterpret_cast<HANDLE>(_get_heap_handle()), 0, nullptr));
    }
};

} // namespace

int main(int argc, char **argv) {
    testing::InitGoogleTest(&argc, argv);
    // The last listener is told of a test's end first, so that the printer still hears of a fault.
    testing::UnitTest::GetInstance()->listeners().Append(new HeapCheck);
    return RUN_ALL_TESTS();
}
