/* What a factory-new device has in its lists. What its codes stand for is
 * in tools/notes.cpp.
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
