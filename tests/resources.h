/* Every route of the interface with its commands and its record, written out by
 * hand: nothing is taken from the module's declarations.
 *
 * A record is its size and its fields. A field is its offset, its key and an
 * example, which shows its type: 'text', true or false, 5 (int32), u5 (uint64)
 * or #5 (int32 shown in quotes). Records of arrays and of other records have no
 * fields here, but bytes and texts in records_test.cpp. */
#pragma once

#include <string>
#include <vector>

#include "server/lighttpd.h"

namespace resources {

/* The ways in which handlers answer. */
enum Kind { READ, LIST, READ_ITEM, WRITE, WRITE_ITEM, CREATE, SUBMIT, RUN, RUN_ITEM, REMOVE, NONE };

constexpr http_method_t GET = HTTP_METHOD_GET, POST = HTTP_METHOD_POST;
constexpr http_method_t PUT = HTTP_METHOD_PUT, DELETE = HTTP_METHOD_DELETE;

struct Action {
    http_method_t method;
    Kind kind;
    uint32_t command = 0;
};

struct Route {
    const char *path;
    std::vector<Action> actions; /* in the order of "Allow" */
    size_t size = 0;             /* of the record */
    std::string fields = "";
};

inline const std::string stream =
    "0 id #65537; 4 protocol 258; 8 channelInput 3; 12 ipAddress '239.1.2.4'; 58 port 50005;"
    "62 programPid 6; 66 videoPid 7; 70 audio1Pid 8; 74 audio2Pid 9; 78 isSap true;"
    "79 isUll false; 80 name 'Cam 1'; 335 fecPort1 12; 339 fecPort2 13; 343 channelName 'chan';"
    "598 channelUserName 'user'; 853 channelPassword 'pass'; 1108 zixiUseBroadcaster true;"
    "1109 latency 18; 1113 isStreamForwarding true; 1114 forwardingTargetAddress '10.0.0.20';"
    "1160 forwardingTargetPort 21; 1164 forwardingMulticastInterface 22;"
    "1168 forwardingUdpPacketSize 23; 1172 forwardingTtl 24; 1176 status 25;"
    "1180 aesEncryption 26; 1184 aesKey '0f1e'; 1439 rtmpServerUrl 'rtmp://h/s'";
inline const std::string channel =
    "1694 videoCodec 1; 1698 audioCodec 2; 1702 resolution '1920x1080'; 1957 outputResolution 4;"
    "1961 isKlv true; 1962 isFec false; 1963 isTalkback true; 1964 talkbackOption 8";
inline const std::string interface =
    "0 id #1; 4 type 5; 8 ip4Type 9; 12 ipAddress '192.168.0.13'; 58 networkMask '255.255.255.0';"
    "74 defaultGateway '192.168.0.75'; 120 ip6Type 121; 124 ip6AutoAddress 'fe80::125';"
    "170 ip6AutoPrefix 171; 174 ip6ManualAddress 'fd00::175'; 220 ip6ManualPrefix 221;"
    "224 isManagementAccess false; 225 isPrimaryDefaultGateway true;"
    "226 hardwareAddress '00:11:22:33:44:55'";
inline const std::string video =
    "0 outputResolution 1; 4 isPrimarySdi1 true; 5 isPrimarySdi2 false; 6 isHdmi true;"
    "7 hdmiMode -8; 11 outputResolution2 12; 15 isSecondarySdi2 false; 16 isComposite true;"
    "17 displayFormat 18; 21 aspectRatio 22; 25 displayFormat2 26; 29 aspectRatio2 30";
inline const std::string configuration =
    "0 clockSource 1; 4 bufferMode 5; 8 decoderBuffer 9; 12 endToEndLatency 13;"
    "16 isEnhancedErrorConcealment false; 17 isStreamLossBanner true; 18 decoderStopImage 19";
inline const std::string vbianc =
    "0 closedCaptioning 1; 4 timecode 5; 8 afd 9; 12 afdValue 13; 16 lineInsertionAuto true;"
    "17 lineInsertionVitc 18; 21 lineInsertionCea708608 22; 25 lineInsertionAfd 26";
inline const std::string talkback =
    "0 talkbackOption 1; 4 serverPort 70005; 8 talkbackMicrophoneLevel 9;"
    "12 talkbackMicrophoneType 13; 16 isTalkbackMicrophoneMute false;"
    "17 talkbackMicrophoneGain 18; 21 isTalkbackSpeakerMute true; 22 talkbackSpeakerGain 23";
inline const std::string saved =
    "0 id #7; 4 name 'studio'; 259 description 'for A'; 514 created 'today';"
    "769 isAutoStart true";
inline const std::string sap_stream = stream.substr(0, stream.find("80 name"));
inline const std::string sap =
    "0 useDefaultAddressPort true; 1 interface 258; 5 ipAddress '239.255.255.255'; 51 port 9875";
inline const std::string security =
    "0 currentPassword 'old'; 255 newPassword 'new'; 510 hostname 'host';"
    "765 isBannerEnabled true; 766 bannerText 'hello'; 8959 certificateName 'cert.pem'";
inline const std::string certificate = "0 certificateName '/etc/c.pem'";
inline const std::string notice = "0 isBannerEnabled true; 1 bannerText 'hello'";
inline const std::string sysdatetime =
    "0 useNtp true; 1 ntpServerAddress 'pool.ntp.org'; 47 ntpSyncPeriod 48; 51 date '2026-03-05';"
    "306 time '12:34:56'; 561 timeZone 'UTC'; 816 isDaylightSavingEnabled false;"
    "817 daylightSavingStartDate '2026-03-29'; 1072 daylightSavingStopDate '2026-10-25';"
    "1327 daylightSavingStartHour 2; 1331 daylightSavingStopHour 3";
inline const std::string ports =
    "0 ethernet1 1; 4 ethernet2 2; 8 dvbAsiIn 3; 12 dvbAsiOut 4; 16 serialAudioGenLock 5;"
    "20 cvbs 6; 24 hdmi 7; 28 sdi1 8; 32 sdi2 9; 36 power -1";
inline const std::string leds = "0 ntp 1; 4 genlock 2; 8 talkback 3";
inline const std::string services = "0 discovery true";
inline const std::string general =
    "0 systemSerialNumber 'S1'; 255 boardSerialNumber 'B2'; 510 hardware 'rev C';"
    "765 software 'v4'";
inline const std::string package = "0 packageName '/mnt/data/p.bin'";
inline const std::string upgrade = "0 status 3; 4 stage 'writing'; 259 percent 42";
inline const std::string freespace = "0 tmp 1048576";
inline const std::string uptime =
    "0 dateTime '2026-03-05 12:34'; 255 uptime '1 day'; 510 temperatureC -5; 514 fansRPM 4200";
inline const std::string changes =
    "0 channelList 1; 4 configList 2; 8 channelInfo 3; 12 portsInfo 4; 16 decoderParameters 5;"
    "20 networkParameters 6; 24 datetimeParameters 2147483647; 28 software -2147483648";
inline const std::string zixi =
    "0 totalBitrate 1; 4 availableBitrate 5; 8 reconnections u8589934593; 16 roundTimeTrip 17;"
    "20 jitter 21; 24 latency 25; 28 totalPackets u29; 36 packetRate 37; 40 packetLoss -1;"
    "44 droppedPackets u18446744073709551615; 52 recoveredPackets u53;"
    "60 nonRecoveredPackets u4294967296";
inline const std::string srt =
    "0 totalBitrate 1; 4 roundTimeTrip 10; 8 mtu 1500; 12 totalPackets u4294967295;"
    "20 packetLoss 100; 24 droppedPackets u25; 32 recoveredPackets u33";

inline const Route routes[] = {
    {"/api/stream", {{GET, LIST, 1}, {POST, CREATE, 2}}, 1694, stream},
    {"/api/stream/12",
     {{GET, READ_ITEM, 1}, {PUT, WRITE_ITEM, 3}, {DELETE, REMOVE, 4}},
     1694,
     stream},
    {"/api/stream/select", {{GET, NONE}}},
    {"/api/stream/select/12", {{PUT, RUN_ITEM, 5}}},
    {"/api/decoder", {{GET, READ, 6}, {PUT, NONE}}, 154},
    {"/api/decoder/video", {{GET, READ, 8}, {PUT, WRITE, 9}}, 33, video},
    {"/api/decoder/audio", {{GET, READ, 10}, {PUT, WRITE, 11}}, 44},
    {"/api/decoder/configuration", {{GET, READ, 12}, {PUT, WRITE, 13}}, 22, configuration},
    {"/api/decoder/vbianc", {{GET, READ, 14}, {PUT, WRITE, 15}}, 29, vbianc},
    {"/api/decoder/talkback", {{GET, READ, 16}, {PUT, WRITE, 17}}, 26, talkback},
    {"/api/channel", {{GET, READ, 18}}, 1968, stream + ";" + channel},
    {"/api/channel/start", {{PUT, RUN, 19}}},
    {"/api/channel/stop", {{PUT, RUN, 20}}},
    {"/api/channel/info", {{GET, READ, 21}}, 1323},
    {"/api/network", {{GET, LIST, 22}, {PUT, WRITE, 23}}, 481, interface},
    {"/api/sap", {{GET, READ, 24}, {PUT, WRITE, 25}}, 55, sap},
    {"/api/sap/stream", {{GET, LIST, 26}, {POST, NONE}}, 80, sap_stream},
    {"/api/security", {{GET, READ, 28}, {PUT, WRITE, 29}}, 9214, security},
    {"/api/security/certificate", {{POST, SUBMIT, 30}}, 4096, certificate},
    {"/api/security/certificate/default", {{PUT, RUN, 31}}},
    {"/api/notice", {{GET, READ, 32}}, 8194, notice},
    {"/api/sysdatetime", {{GET, READ, 33}, {PUT, WRITE, 34}}, 1335, sysdatetime},
    {"/api/ports", {{GET, READ, 35}}, 40, ports},
    {"/api/leds", {{GET, READ, 36}}, 12, leds},
    {"/api/services", {{GET, READ, 37}, {PUT, WRITE, 38}}, 1, services},
    {"/api/configuration", {{GET, LIST, 39}, {POST, CREATE, 40}}, 770, saved},
    {"/api/configuration/12",
     {{GET, READ_ITEM, 39}, {PUT, WRITE_ITEM, 41}, {DELETE, REMOVE, 42}},
     770,
     saved},
    {"/api/configuration/activate", {{GET, NONE}}},
    {"/api/configuration/activate/12", {{PUT, RUN_ITEM, 43}}},
    {"/api/general", {{GET, READ, 44}}, 1020, general},
    {"/api/general/restart", {{PUT, RUN, 45}}},
    {"/api/general/factoryReset", {{PUT, RUN, 46}}},
    {"/api/general/firmwareUpgrade", {{POST, SUBMIT, 47}}, 4096, package},
    {"/api/general/upgradeStatus", {{GET, READ, 48}}, 263, upgrade},
    {"/api/general/freespace", {{GET, READ, 49}}, 4, freespace},
    {"/api/general/uidLed", {{POST, NONE}}},
    {"/api/uptime", {{GET, READ, 52}}, 518, uptime},
    {"/api/login", {{POST, NONE}, {GET, NONE}}},
    {"/api/logout", {{GET, NONE}, {POST, NONE}}},
    {"/api/talkback", {{GET, NONE}}},
    {"/api/talkback/start", {{PUT, RUN, 57}}},
    {"/api/talkback/stop", {{PUT, RUN, 58}}},
    {"/api/changes", {{GET, READ, 59}}, 32, changes},
    {"/api/zixiStats", {{GET, READ, 60}}, 68, zixi},
    {"/api/srtStats", {{GET, READ, 61}}, 40, srt},
};

} // namespace resources
