/* The records of streams, decoder and channel. */
#pragma once

#include "module/record.h"

namespace records {
using namespace field;

inline constexpr Field stream_fields[] = {
    id("id"),
    int32("protocol"),
    int32("channelInput"),
    text("ipAddress", 46),
    int32("port"),
    int32("programPid"),
    int32("videoPid"),
    int32("audio1Pid"),
    int32("audio2Pid"),
    flag("isSap"),
    flag("isUll"),
    text("name", 255),
    int32("fecPort1"),
    int32("fecPort2"),
    text("channelName", 255),
    text("channelUserName", 255),
    text("channelPassword", 255),
    flag("zixiUseBroadcaster"),
    int32("latency"),
    flag("isStreamForwarding"),
    text("forwardingTargetAddress", 46),
    int32("forwardingTargetPort"),
    int32("forwardingMulticastInterface"),
    int32("forwardingUdpPacketSize"),
    int32("forwardingTtl"),
    int32("status"),
    int32("aesEncryption"),
    text("aesKey", 255),
    text("rtmpServerUrl", 255),
};
inline constexpr Record stream_record = record("stream_record", 1694, stream_fields);

inline constexpr Field decoder_video_fields[] = {
    int32("outputResolution"), flag("isPrimarySdi1"),
    flag("isPrimarySdi2"),     flag("isHdmi"),
    int32("hdmiMode"),         int32("outputResolution2"),
    flag("isSecondarySdi2"),   flag("isComposite"),
    int32("displayFormat"),    int32("aspectRatio"),
    int32("displayFormat2"),   int32("aspectRatio2"),
};
inline constexpr Record decoder_video_record =
    record("decoder_video_record", 33, decoder_video_fields);

inline constexpr Field decoder_audio_fields[] = {
    matrix("sdiHdmiOutput", 4, 4), int32("digitalOutput"),   flags("aesOutput1", 4),
    flags("aesOutput2", 4),        flags("analogOutput", 4), int32("balancedMode"),
    int32("volumeUnbalanced"),     int32("volumeBalanced"),
};
inline constexpr Record decoder_audio_record =
    record("decoder_audio_record", 44, decoder_audio_fields);

inline constexpr Field decoder_configuration_fields[] = {
    int32("clockSource"),
    int32("bufferMode"),
    int32("decoderBuffer"),
    int32("endToEndLatency"),
    flag("isEnhancedErrorConcealment"),
    flag("isStreamLossBanner"),
    int32("decoderStopImage"),
};
inline constexpr Record decoder_configuration_record =
    record("decoder_configuration_record", 22, decoder_configuration_fields);

inline constexpr Field decoder_vbianc_fields[] = {
    int32("closedCaptioning"),
    int32("timecode"),
    int32("afd"),
    int32("afdValue"),
    flag("lineInsertionAuto"),
    int32("lineInsertionVitc"),
    int32("lineInsertionCea708608"),
    int32("lineInsertionAfd"),
};
inline constexpr Record decoder_vbianc_record =
    record("decoder_vbianc_record", 29, decoder_vbianc_fields);

inline constexpr Field decoder_talkback_fields[] = {
    int32("talkbackOption"),          int32("serverPort"),
    int32("talkbackMicrophoneLevel"), int32("talkbackMicrophoneType"),
    flag("isTalkbackMicrophoneMute"), int32("talkbackMicrophoneGain"),
    flag("isTalkbackSpeakerMute"),    int32("talkbackSpeakerGain"),
};
inline constexpr Record decoder_talkback_record =
    record("decoder_talkback_record", 26, decoder_talkback_fields);

inline constexpr Field decoder_summary_fields[] = {
    object("video", decoder_video_record),
    object("audio", decoder_audio_record),
    object("configuration", decoder_configuration_record),
    object("vbianc", decoder_vbianc_record),
    object("talkback", decoder_talkback_record),
};
inline constexpr Record decoder_summary_record =
    record("decoder_summary_record", 154, decoder_summary_fields);

inline constexpr Field channel_fields[] = {
    members(stream_record),  int32("videoCodec"),       int32("audioCodec"),
    text("resolution", 255), int32("outputResolution"), flag("isKlv"),
    flag("isFec"),           flag("isTalkback"),        int32("talkbackOption"),
};
inline constexpr Record channel_record = record("channel_record", 1968, channel_fields);

inline constexpr Field channel_video_fields[] = {
    int32("codec"),     int32("chromaSampling"), int32("width"),          int32("height"),
    int32("framerate"), int32("scanType"),       float32("inputBitrate"),
};
inline constexpr Record channel_video_record =
    record("channel_video_record", 28, channel_video_fields);

inline constexpr Field channel_audio_fields[] = {
    int32("codec"),
    int32("samplingFrequency"),
    int32("channels"),
    int32("inputBitrate"),
};
inline constexpr Record channel_audio_record =
    record("channel_audio_record", 16, channel_audio_fields);

inline constexpr Field channel_info_fields[] = {
    object("video", channel_video_record),
    object("audio", channel_audio_record),
    float32("systemBitrate"),
    text("endToEndLatency", 255),
    text("errorCorrection", 255),
    text("vitc", 255),
    text("cc", 255),
    text("encryption", 255),
};
inline constexpr Record channel_info_record =
    record("channel_info_record", 1323, channel_info_fields);

} // namespace records
