// SPDX-License-Identifier: MIT
#pragma once

#include "capture/VelmoraCanvas.h"

#include <map>
#include <string>
#include <vector>

/// A capture control without a session: it notes what windows ask it to do and answers what the test laid down.
class SpyCanvas : public velmora::VelmoraCanvas {
public:
    using String = framework::String;

    std::vector<std::string> calls;        ///< what was done to it, in order; reading a property is not noted
    std::map<std::string, double> numbers; ///< properties by name; a setter's value is what the getter then gives
    std::map<std::string, std::string> texts;
    std::vector<std::string> videoDevices, soundDevices;
    velmora::RecordingStatus status;
    std::function<void()> stop; ///< what `Stop` brings about
    bool deckFails = false;     ///< whether "Play" finds no deck

    /// What was noted since the last call, joined by "; ".
    std::string TakeCalls()
    {
        std::string joined;
        for (const std::string& call : calls)
            joined += (joined.empty() ? "" : "; ") + call;
        calls.clear();
        return joined;
    }

    void Initialize() override { Note("Initialize"); }
    void Record(const framework::Reference<framework::FolderItem>& file) override
    {
        Note("Record " + file->Name().Bytes());
    }
    void Stop() override
    {
        Note("Stop");
        if (stop)
            stop();
    }
    velmora::RecordingStatus Status() override { return status; }
    framework::Reference<framework::Picture> GrabPicture(int32_t width, int32_t height) override
    {
        Note("GrabPicture", width, height);
        return nullptr;
    }
    void VideoRecordSize(int32_t width, int32_t height) override { Note("VideoRecordSize", width, height); }

    bool VideoPreview() override { return Is("VideoPreview"); }
    void VideoPreview(bool value) override { Set("VideoPreview", value); }
    bool PreviewWhileRecording() override { return Is("PreviewWhileRecording"); }
    void PreviewWhileRecording(bool value) override { Set("PreviewWhileRecording", value); }
    bool VideoEnabled() override { return Is("VideoEnabled"); }
    void VideoEnabled(bool value) override { Set("VideoEnabled", value); }
    bool SoundEnabled() override { return Is("SoundEnabled"); }
    void SoundEnabled(bool value) override { Set("SoundEnabled", value); }

    String VideoCompressionType() override { return texts["VideoCompressionType"]; }
    void VideoCompressionType(const String& code) override { SetText("VideoCompressionType", code); }
    int32_t VideoDepth() override { return Whole("VideoDepth"); }
    void VideoDepth(int32_t value) override { Set("VideoDepth", value); }
    int32_t VideoKeyFrameRate() override { return Whole("VideoKeyFrameRate"); }
    void VideoKeyFrameRate(int32_t value) override { Set("VideoKeyFrameRate", value); }
    double VideoFrameRate() override { return numbers["VideoFrameRate"]; }
    void VideoFrameRate(double value) override { Set("VideoFrameRate", value); }
    int32_t VideoSpatialQuality() override { return Whole("VideoSpatialQuality"); }
    int32_t VideoTemporalQuality() override { return Whole("VideoTemporalQuality"); }

    int32_t VideoDeviceCount() override { return static_cast<int32_t>(videoDevices.size()); }
    String VideoDevice(int32_t index) override { return videoDevices.at(static_cast<size_t>(index)); }
    bool VideoDeviceAvailable(int32_t index) override { return index == 0; }
    String VideoDeviceName() override { return texts["VideoDeviceName"]; }
    int32_t VideoDeviceSelected() override { return Whole("VideoDeviceSelected"); }
    int32_t SoundDeviceCount() override { return static_cast<int32_t>(soundDevices.size()); }
    String SoundDevice(int32_t index) override { return soundDevices.at(static_cast<size_t>(index)); }
    bool SoundDeviceAvailable(int32_t index) override { return index == 0; }

    String SoundCompressionType() override { return texts["SoundCompressionType"]; }
    void SoundCompressionType(const String& code) override { SetText("SoundCompressionType", code); }
    int32_t SoundChannelCount() override { return Whole("SoundChannelCount"); }
    int32_t SoundSampleSize() override { return Whole("SoundSampleSize"); }
    void SoundSampleSize(int32_t value) override { Set("SoundSampleSize", value); }
    int32_t SoundSampleRate() override { return Whole("SoundSampleRate"); }
    void SoundSampleRate(int32_t value) override { Set("SoundSampleRate", value); }
    int32_t SoundVolume() override { return Whole("SoundVolume"); }
    void SoundVolume(int32_t value) override { Set("SoundVolume", value); }
    double SoundInputGain() override { return numbers["SoundInputGain"]; }
    void SoundInputGain(double value) override { Set("SoundInputGain", value); }
    bool SoundLevelMeterActive() override { return Is("SoundLevelMeterActive"); }
    void SoundLevelMeterActive(bool value) override { Set("SoundLevelMeterActive", value); }
    int32_t SoundLevelMeterChannelCount() override { return Whole("SoundLevelMeterChannelCount"); }
    int32_t SoundLevelMeterLeft() override { return Whole("SoundLevelMeterLeft"); }
    int32_t SoundLevelMeterRight() override { return Whole("SoundLevelMeterRight"); }

    String ShowVideoSettingsDialogForName() override
    {
        Note("ShowVideoSettingsDialog");
        return texts["VideoDeviceName"];
    }
    void ShowSoundSettingsDialog() override { Note("ShowSoundSettingsDialog"); }

    void DeviceControlPlay() override
    {
        Note("Play");
        if (deckFails && Error)
            Error(0);
    }
    void DeviceControlStop() override { Note("Stop"); }
    void DeviceControlFreeze() override { Note("Freeze"); }
    void DeviceControlFastForward() override { Note("FastForward"); }
    void DeviceControlRewind() override { Note("Rewind"); }
    void DeviceControlRewindPlay() override { Note("RewindPlay"); }
    void DeviceControlFastForwardPlay() override { Note("FastForwardPlay"); }
    void DeviceControlNextFrame() override { Note("NextFrame"); }
    void DeviceControlPreviousFrame() override { Note("PreviousFrame"); }
    void DeviceControlSlowForward() override { Note("SlowForward"); }
    void DeviceControlSlowReverse() override { Note("SlowReverse"); }
    void DeviceControlRecord() override { Note("Record"); }

private:
    static std::string Text(double number) { return framework::Str(number).Bytes(); }
    bool Is(const std::string& name) { return numbers[name] != 0; }
    int32_t Whole(const std::string& name) { return static_cast<int32_t>(numbers[name]); }
    void Note(const std::string& call) { calls.push_back(call); }
    void Note(const std::string& name, int32_t first, int32_t second)
    {
        Note(name + " " + Text(first) + " " + Text(second));
    }
    void Set(const std::string& name, double value)
    {
        Note(name + " = " + Text(value));
        numbers[name] = value;
    }
    void SetText(const std::string& name, const String& value)
    {
        Note(name + " = " + value.Bytes());
        texts[name] = value.Bytes();
    }
};
