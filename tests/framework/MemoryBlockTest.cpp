// SPDX-License-Identifier: MIT
#include "framework/MemoryBlock.h"
#include "framework/Application.h"
#include "framework/FolderItem.h"
#include "framework/TextStreams.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <limits>
#include <sys/resource.h>

namespace framework {
namespace {

TEST(MemoryBlock, ReadsAndWritesAtAnyOffset)
{
    MemoryBlock block(16);
    block.Long(1, -2);
    EXPECT_EQ(block.Short(2), -1);
    block.Short(0, 0x12345);
    EXPECT_EQ(block.Short(0), 0x2345) << "the low 16 bits";
    block.PString(4, "a longer text than fits");
    EXPECT_EQ(block.PString(4), "a longer te");
    block.StringValue(0, 4, "xy");
    EXPECT_EQ(block.StringValue(0, 4), String(std::string("xy\0\0", 4)));
    EXPECT_FALSE(block.StringValue(0, 4).HasEncoding());
}

class NoStorage : public MemoryBlock {};

TEST(MemoryBlock, RefusesWhatLiesOutside)
{
    const int32_t last = std::numeric_limits<int32_t>::max();
    const auto block = New<MemoryBlock>(8);
    const auto stray = MemoryBlock::At(12345);
    const auto nothing = New<NoStorage>();
    block->Byte(4, 200); // a text that claims to be longer than its block
    const std::function<void()> accesses[] = {
        [&] { block->Long(5); },
        [&] { block->Long(-1); },
        [&] { block->Short(7, 1); },
        [&] { block->Byte(8, 1); },
        [&] { block->PString(4); },
        [&] { block->PString(8, "x"); },
        [&] { block->StringValue(0, 9); },
        [&] { block->StringValue(1, last); },
        [&] { stray->Byte(0); },
        [&] { nothing->Long(0); },
        [&] { nothing->StringValue(0, 0, ""); },
    };
    for (const auto& access : accesses)
        EXPECT_THROW(access(), OutOfBoundsException) << &access - accesses;
    EXPECT_THROW(MemoryBlock(-1), RuntimeException);
    EXPECT_FALSE(NewMemoryBlock(-1));
}

TEST(FolderItem, WritesReadsAndDeletes)
{
    const test::TemporaryFolder folder;
    FolderItem file(folder / "a (1) $é.txt");
    EXPECT_EQ(file.Name(), "a (1) $é.txt");
    EXPECT_EQ(ReplaceAll(file.ShellPath(), "\\", ""), file.AbsolutePath());
    EXPECT_NE(file.ShellPath().Bytes().find("a\\ \\(1\\)\\ \\$é.txt"), std::string::npos);

    EXPECT_FALSE(file.Exists());
    EXPECT_FALSE(file.OpenAsTextFile());
    const std::string content("line\r\n\0\xFFtail", 12);
    file.CreateTextFile()->Write(String("a text that is replaced"));
    file.CreateTextFile()->Write(String(content));
    const String read = file.OpenAsTextFile()->ReadAll();
    EXPECT_EQ(read.Bytes(), content);
    EXPECT_FALSE(read.HasEncoding());

    // A failed write is reported and leaves the file and the folder unchanged.
    std::string shown;
    SetMsgBoxHandler([&](const String& text) { shown = text.Bytes(); });
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit unlimited{};
    getrlimit(RLIMIT_FSIZE, &unlimited);
    const rlimit small{4, unlimited.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    file.CreateTextFile()->Write(String(std::string(100'000, 'x')));
    setrlimit(RLIMIT_FSIZE, &unlimited);
    EXPECT_EQ(shown.find("a (1) $é.txt could not be saved: "), 0U) << shown;
    EXPECT_EQ(file.OpenAsTextFile()->ReadAll().Bytes(), content);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder / ""), {}), 1);
    EXPECT_FALSE(FolderItem("/proc/self/settings").CreateTextFile());
    EXPECT_EQ(shown.find("settings could not be saved: "), 0U) << shown;
    SetMsgBoxHandler({});

    file.Delete();
    EXPECT_EQ(file.LastErrorCode(), 0);
    EXPECT_FALSE(file.Exists());
    file.Delete();
    EXPECT_EQ(file.LastErrorCode(), -43);
}

} // namespace
} // namespace framework
