// SPDX-License-Identifier: MIT
#include "app/CommandAnswers.h"
#include "platform/atoms/TaggedItems.h"
#include "platform/memory/ResultCodes.h"
#include "ui/MessageTexts.h"
#include "ui/UiTest.h"

#include <fstream>

namespace {

using velmora::MeaningOfMessage;

TEST(MessageTexts, GiveAMeaningToWhatIsOnlyACode)
{
    EXPECT_EQ(MeaningOfMessage("AddMediaSample (video) error -34"), "The disk is full.");
    EXPECT_EQ(MeaningOfMessage("NewGWorld error-108"), "There is not enough memory.");
    EXPECT_EQ(MeaningOfMessage("SGGetChannelInfo error -4711"), "Error -4711 occurred.");
    EXPECT_NE(
        MeaningOfMessage("error InsertMediaIntoTrack (sound) clip: -36").find("failed to write or to read. The end"),
        std::string::npos);
    for (const char* text : {"NewMovieTrack failed(video).", "error beginmediaedits (sound)", "err: dim m"})
        EXPECT_NE(MeaningOfMessage(text), "") << text;
    for (const char* text : {"SoundInputGain = -34", "Caution! Record can permanently erase data.", ""})
        EXPECT_EQ(MeaningOfMessage(text), "") << text;
}

class CommandAnswersTest : public UiTest {
protected:
    void SetUp() override
    {
        UiTest::SetUp();
        spy->numbers = {{"VideoEnabled", 1}, {"SoundEnabled", 1}};
        answers = std::make_unique<velmora::CommandAnswers>(window);
        framework::SetMsgBoxHandler([this](const framework::String& text) {
            boxes.push_back(text.Bytes());
            explanations.push_back(answers->Explain(text.Bytes()).text.Bytes());
        });
    }

    void TearDown() override
    {
        answers.reset();
        UiTest::TearDown();
    }

    // The beginning of the one box that came, or what else there was.
    std::string Told(size_t length)
    {
        const auto told = TakeBoxes();
        return told.size() == 1 ? told[0].substr(0, length) : std::to_string(told.size()) + " boxes";
    }

    std::unique_ptr<velmora::CommandAnswers> answers;
    std::vector<std::string> explanations;
};

TEST_F(CommandAnswersTest, TellWhatACommandCouldNotDo)
{
    const auto deck = window->ControlNamed<framework::PushButton>("PushButton1");
    spy->Error(-3000); // no command runs
    deck->Push();
    Choose("SoundSettings");
    EXPECT_EQ(TakeBoxes(), std::vector<std::string>{}) << "all went well";
    spy->deckFails = true;
    deck->Push();
    EXPECT_EQ(Told(30), "No camcorder or deck answered.");
    Choose("MonitorGrabPicture");
    EXPECT_EQ(Told(27), "There is no picture to grab");
    spy->numbers["SoundEnabled"] = 0;
    Choose("SoundSettings");
    EXPECT_EQ(Told(13), "Sound is off.");

    explanations.clear();
    Choose("SoundChannelCount");
    Choose("VideoDepth");
    ASSERT_EQ(TakeBoxes().size(), 3U);
    EXPECT_EQ(explanations[0].find("Sound is off."), 0U) << "the value of a channel that is off";
    EXPECT_EQ(explanations[1] + explanations[2], "") << "values that are";
}

// Only what holds settings is taken for a settings file, whatever its name.
TEST_F(CommandAnswersTest, KnowSettingsByTheirContent)
{
    platform::TaggedItems settings;
    settings.AddNumber(platform::CodeOf("sgrb"), 1);
    settings.AddItems(platform::CodeOf("vide"), {});
    const auto bytes = settings.Flatten();
    const std::string whole(bytes.begin(), bytes.end());
    QTemporaryDir folder;
    for (const auto& [content, objection] :
         {std::pair{whole, ""}, std::pair{whole.substr(0, whole.size() - 1), "damaged"},
          std::pair{whole + "x", "damaged"}, std::pair{std::string("shopping list"), "does not contain"},
          std::pair{std::string(), "does not contain"}}) {
        const std::string path = folder.filePath("settings").toStdString();
        std::ofstream(path, std::ios::binary) << content;
        const std::string told = velmora::FileTypes::pText->Objection(framework::FolderItem(path)).Bytes();
        EXPECT_NE(told.find(objection), std::string::npos) << told;
        EXPECT_EQ(told.empty(), *objection == 0) << told;
    }
}

} // namespace
