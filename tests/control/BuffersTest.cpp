#include "control/ControlTest.h"
#include "platform/components/FunctionTable.h"
#include "platform/drawing/Ports.h"
#include "platform/memory/Handles.h"
#include "recording/NullMemoryBlock.h"

namespace velmora {
namespace {

TEST_F(ControlTest, BuffersByOrigin)
{
    GWorldWrapper plain(64, 32), placed(5, 7, 64, 32), formed(64, 32, "2vuy"), placedAndFormed(5, 7, 64, 32, "2vuy");
    GWorldWrapper ofWindow(20, 14, 640, 480, &window);
    const auto picture = framework::New<Picture>(33, 11, 32);
    GWorldWrapper ofPicture(picture);
    const struct {
        GWorldWrapper& world;
        platform::FourCharCode format;
        int top, left, bottom, right;
    } cases[] = {
        {plain, 32, 0, 0, 32, 64},
        {placed, 32, 5, 7, 37, 71},
        {formed, platform::k2vuyPixelFormat, 0, 0, 32, 64},
        {placedAndFormed, platform::k2vuyPixelFormat, 5, 7, 37, 71},
        {ofWindow, 32, 20, 14, 500, 654},
        {ofPicture, 32, 0, 0, 11, 33},
    };
    for (const auto& c : cases) {
        const auto pixels = platform::PixelsOfPort(c.world.handle->Long(0));
        ASSERT_TRUE(pixels);
        EXPECT_EQ(pixels->format, c.format);
        const auto rect = c.world.GetRect(), buffer = c.world.getvImageBuffer();
        EXPECT_TRUE(rect->Short(0) == c.top && rect->Short(2) == c.left && rect->Short(4) == c.bottom &&
                    rect->Short(6) == c.right);
        EXPECT_EQ(c.world.GetDataSize(), pixels->rowBytes * c.world.height);
        EXPECT_EQ(c.world.format, String("rgba"));
        EXPECT_TRUE(buffer->Long(0) == platform::AddressOf(pixels->pixels) && buffer->Long(4) == c.bottom - c.top &&
                    buffer->Long(8) == c.right - c.left && buffer->Long(12) == pixels->rowBytes);
    }
    EXPECT_EQ(ofWindow.handle->Long(0), window.Port());
    EXPECT_EQ(ofPicture.handle->Long(0), picture->RGBSurface());
    EXPECT_EQ(NullMemoryBlock().Pointer(), 0);
    EXPECT_THROW(GWorldWrapper(0, 0), framework::RuntimeException);
    Expect({"MsgBox(NewGWorld error-50)"});
    script.Returns("MakeImageDescriptionForPixMap", -50);
    EXPECT_EQ(plain.GetImageDescription(), 0);
}

TEST_F(ControlTest, CallsBoundByNameAtTheMomentOfTheCall)
{
    constexpr std::string_view carbon = "/System/Library/Frameworks/Carbon.framework/Carbon";
    GWorldWrapper world(8, 8);
    const struct {
        std::string_view library;
        const char* function;
        std::function<void()> use;
    } cases[] = {
        {"QuickTime.framework", "QTNewGWorld", [] { GWorldWrapper(8, 8); }},
        {"QuickTime.framework", "MakeImageDescriptionForPixMap", [&] { world.GetImageDescription(); }},
        {"Carbon.framework", "GetGWorldPixMap", [&] { world.GetPixMap(); }},
        {"Carbon.framework", "LockPixels", [&] { world.LockPixels(); }},
        {"Carbon.framework", "UnlockPixels", [&] { world.UnlockPixels(); }},
        {"Carbon.framework", "GetPixBaseAddr", [&] { world.GetBaseAddress(); }},
        {"Carbon.framework", "GetPixRowBytes", [&] { world.GetRowBytes(); }},
        {"Carbon.framework", "GetWindowPort", [&] { GWorldWrapper(0, 0, 8, 8, &window); }},
        {carbon, "NewHandleClear", [] { Utilities::newclearhandle(); }},
        {carbon, "DisposeHandle", [] { Utilities::DisposeHandle(0); }},
        {carbon, "SPBSetDeviceInfo", [&] { canvas->SoundInputGain(1); }},
    };
    for (const auto& c : cases) {
        const auto code = platform::FindFunction(c.library, c.function);
        EXPECT_NO_THROW(c.use()) << c.function;
        platform::WithdrawFunction(c.library, c.function);
        try {
            c.use();
            ADD_FAILURE() << c.function;
        } catch (const framework::FunctionNotFoundException& missing) {
            EXPECT_EQ(missing.FunctionName(), c.function);
            EXPECT_EQ(missing.LibraryName(), c.library);
        }
        platform::ExportFunction(c.library, c.function, code);
    }
}

TEST_F(ControlTest, Conversions)
{
    const std::pair<int32_t, uint32_t> toFixed[] = {{1, 0x10000}, {-1, 0xFFFF0000}, {32768, 0x80000000}, {65536, 0}};
    for (const auto& [whole, fixed] : toFixed)
        EXPECT_EQ(static_cast<uint32_t>(Utilities::int2fixed(whole)), fixed);
    const std::pair<uint32_t, int32_t> toWhole[] = {{44100U << 16, 44100}, {0xFFFF0000, 65536}, {0xFFFE, 0}};
    for (const auto& [fixed, whole] : toWhole)
        EXPECT_EQ(Utilities::fixed2int(fixed), whole);
    constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
    const std::pair<double, int32_t> cut[] = {
        {-1.9, -1}, {2147483647.5, 2147483647}, {2147483648.0, lowest}, {1.0 / 0.0, lowest}, {std::nan(""), lowest}};
    for (const auto& [number, whole] : cut)
        EXPECT_EQ(Utilities::double2int(number), whole) << number;
}

TEST_F(ControlTest, BlocksAsHandles)
{
    const auto block = framework::New<MemoryBlock>(8);
    block->StringValue(0, 8, "abcdefgh");
    const int32_t handle = Utilities::memoryblocktohandle(block, 5);
    const auto bytes = platform::HandleBytes(handle);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "abcde");
    Utilities::DisposeHandle(handle);
    EXPECT_EQ(platform::GetHandleSize(handle), 0);
    EXPECT_EQ(Utilities::memoryblocktohandle(nullptr, 5), 0);
    EXPECT_EQ(Utilities::memoryblocktohandle(block, 0), 0);
    EXPECT_EQ(Utilities::memoryblocktohandle(block, std::numeric_limits<int32_t>::max()), 0);
    Expect({"MsgBox(err: dim m)", "MsgBox(err: size <1)", "MsgBox(mynamehandle < 1)"});
}

} // namespace
} // namespace velmora
