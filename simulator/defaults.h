/* What a factory-new device is set to; what is not named is 0, off or empty.
 * The codes are this simulator's reading:
 *   protocol         0 UDP, 1 RTP, 2 Zixi, 3 SRT, 4 RTMP, 5 ASI
 *   channelInput     0 and 1 the Ethernet ports, 2 ASI
 *   status           of a stream: 0 idle, 1 being received
 *                    of an upgrade: 0 none, 1 going on, 2 finished
 *   type             of an interface: 0 management, 1 streams
 *   ip4Type, ip6Type 0 fixed, 1 automatic
 *   ports, LEDs      0 off, 1 in use
 * -1 is "not set": a client that sends it back changes nothing. */
#pragma once

#include "simulator/device.h"

namespace defaults {

constexpr const char *stream =
    "port=-1; programPid=-1; videoPid=-1; audio1Pid=-1; audio2Pid=-1; fecPort1=-1; fecPort2=-1; "
    "latency=120; forwardingTargetPort=-1; forwardingUdpPacketSize=1316; forwardingTtl=64";

constexpr const char *video =
    "outputResolution=4; isPrimarySdi1=true; isHdmi=true; hdmiMode=1; outputResolution2=2; "
    "isSecondarySdi2=true; aspectRatio=1; aspectRatio2=1";
constexpr const char *audio =
    "sdiHdmiOutput=1000 0100 0010 0001; digitalOutput=1; aesOutput1=1000; aesOutput2=0100; "
    "analogOutput=1100; volumeUnbalanced=80; volumeBalanced=80";
constexpr const char *decoding =
    "clockSource=1; decoderBuffer=200; endToEndLatency=400; isEnhancedErrorConcealment=true; "
    "isStreamLossBanner=true; decoderStopImage=1";
constexpr const char *vbianc =
    "closedCaptioning=1; timecode=1; afd=1; afdValue=8; lineInsertionAuto=true; "
    "lineInsertionVitc=14; lineInsertionCea708608=11; lineInsertionAfd=12";
constexpr const char *talkback =
    "talkbackOption=1; serverPort=9004; talkbackMicrophoneLevel=60; talkbackMicrophoneGain=12; "
    "talkbackSpeakerGain=6";

constexpr const char *interface =
    "networkMask=255.255.255.0; ip6Type=1; ip6AutoPrefix=64; ip6ManualPrefix=64";
constexpr const char *sap = "useDefaultAddressPort=true; ipAddress=224.2.127.254; port=9875";
constexpr const char *security =
    "hostname=decoder-01; bannerText=Authorised users only.; certificateName=default";
constexpr const char *sysdatetime =
    "useNtp=true; ntpServerAddress=pool.ntp.org; ntpSyncPeriod=60; timeZone=UTC; "
    "daylightSavingStartDate=2025-03-30; daylightSavingStopDate=2025-10-26; "
    "daylightSavingStartHour=2; daylightSavingStopHour=3";
constexpr const char *services = "discovery=true";
constexpr const char *general =
    "systemSerialNumber=DEC-2041-0007; boardSerialNumber=BRD-7719-0153; "
    "hardware=Video decoder, revision C";

} // namespace defaults

/* Fills the lists: as many streams and interfaces as the device's options say,
 * a few saved configurations and announced streams. */
void add_examples(Device &device);
