/* What a factory-new device has in its lists. The codes are this simulator's
 * reading:
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

/* Of a new stream; what is not named is 0, off or empty. */
constexpr const char *stream_defaults =
    "port=-1; programPid=-1; videoPid=-1; audio1Pid=-1; audio2Pid=-1; fecPort1=-1; fecPort2=-1; "
    "latency=120; forwardingTargetPort=-1; forwardingUdpPacketSize=1316; forwardingTtl=64";

/* Fills the lists: as many streams and interfaces as the device's options say,
 * a few saved configurations and announced streams. */
void add_examples(Device &device);
