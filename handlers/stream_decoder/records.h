/* The records of streams, decoder and channel. */
#pragma once

#include "reply/record.h"

namespace records {
using namespace field;

/* One field a line: */
/* clang-format off */

RECORD(stream_record, 1694,
    at(0, id("id")),
    at(4, int32("protocol")),
    at(8, int32("channelInput")),
    at(12, text("ipAddress", 46)),
    at(58, int32("port")),
    at(62, int32("programPid")),
    at(66, int32("videoPid")),
    at(70, int32("audio1Pid")),
    at(74, int32("audio2Pid")),
    at(78, flag("isSap")),
    at(79, flag("isUll")),
    at(80, text("name", 255)),
    at(335, int32("fecPort1")),
    at(339, int32("fecPort2")),
    at(343, text("channelName", 255)),
    at(598, text("channelUserName", 255)),
    at(853, text("channelPassword", 255)),
    at(1108, flag("zixiUseBroadcaster")),
    at(1109, int32("latency")),
    at(1113, flag("isStreamForwarding")),
    at(1114, text("forwardingTargetAddress", 46)),
    at(1160, int32("forwardingTargetPort")),
    at(1164, int32("forwardingMulticastInterface")),
    at(1168, int32("forwardingUdpPacketSize")),
    at(1172, int32("forwardingTtl")),
    at(1176, int32("status")),
    at(1180, int32("aesEncryption")),
    at(1184, text("aesKey", 255)),
    at(1439, text("rtmpServerUrl", 255)))

RECORD(decoder_video_record, 33,
    at(0, int32("outputResolution")),
    at(4, flag("isPrimarySdi1")),
    at(5, flag("isPrimarySdi2")),
    at(6, flag("isHdmi")),
    at(7, int32("hdmiMode")),
    at(11, int32("outputResolution2")),
    at(15, flag("isSecondarySdi2")),
    at(16, flag("isComposite")),
    at(17, int32("displayFormat")),
    at(21, int32("aspectRatio")),
    at(25, int32("displayFormat2")),
    at(29, int32("aspectRatio2")))

RECORD(decoder_audio_record, 44,
    at(0, matrix("sdiHdmiOutput", 4, 4)),
    at(16, int32("digitalOutput")),
    at(20, flags("aesOutput1", 4)),
    at(24, flags("aesOutput2", 4)),
    at(28, flags("analogOutput", 4)),
    at(32, int32("balancedMode")),
    at(36, int32("volumeUnbalanced")),
    at(40, int32("volumeBalanced")))

RECORD(decoder_configuration_record, 22,
    at(0, int32("clockSource")),
    at(4, int32("bufferMode")),
    at(8, int32("decoderBuffer")),
    at(12, int32("endToEndLatency")),
    at(16, flag("isEnhancedErrorConcealment")),
    at(17, flag("isStreamLossBanner")),
    at(18, int32("decoderStopImage")))

RECORD(decoder_vbianc_record, 29,
    at(0, int32("closedCaptioning")),
    at(4, int32("timecode")),
    at(8, int32("afd")),
    at(12, int32("afdValue")),
    at(16, flag("lineInsertionAuto")),
    at(17, int32("lineInsertionVitc")),
    at(21, int32("lineInsertionCea708608")),
    at(25, int32("lineInsertionAfd")))

RECORD(decoder_talkback_record, 26,
    at(0, int32("talkbackOption")),
    at(4, int32("serverPort")),
    at(8, int32("talkbackMicrophoneLevel")),
    at(12, int32("talkbackMicrophoneType")),
    at(16, flag("isTalkbackMicrophoneMute")),
    at(17, int32("talkbackMicrophoneGain")),
    at(21, flag("isTalkbackSpeakerMute")),
    at(22, int32("talkbackSpeakerGain")))

RECORD(decoder_summary_record, 154,
    at(0, object("video", decoder_video_record)),
    at(33, object("audio", decoder_audio_record)),
    at(77, object("configuration", decoder_configuration_record)),
    at(99, object("vbianc", decoder_vbianc_record)),
    at(128, object("talkback", decoder_talkback_record)))

RECORD(channel_record, 1968,
    at(0, members(stream_record)),
    at(1694, int32("videoCodec")),
    at(1698, int32("audioCodec")),
    at(1702, text("resolution", 255)),
    at(1957, int32("outputResolution")),
    at(1961, flag("isKlv")),
    at(1962, flag("isFec")),
    at(1963, flag("isTalkback")),
    at(1964, int32("talkbackOption")))

RECORD(channel_video_record, 28,
    at(0, int32("codec")),
    at(4, int32("chromaSampling")),
    at(8, int32("width")),
    at(12, int32("height")),
    at(16, int32("framerate")),
    at(20, int32("scanType")),
    at(24, float32("inputBitrate")))

RECORD(channel_audio_record, 16,
    at(0, int32("codec")),
    at(4, int32("samplingFrequency")),
    at(8, int32("channels")),
    at(12, int32("inputBitrate")))

RECORD(channel_info_record, 1323,
    at(0, object("video", channel_video_record)),
    at(28, object("audio", channel_audio_record)),
    at(44, float32("systemBitrate")),
    at(48, text("endToEndLatency", 255)),
    at(303, text("errorCorrection", 255)),
    at(558, text("vitc", 255)),
    at(813, text("cc", 255)),
    at(1068, text("encryption", 255)))

/* clang-format on */

} // namespace records
