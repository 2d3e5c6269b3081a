/* A form with every field of a stream. */
#pragma once

constexpr const char *stream_form =
    "id=1&protocol=3&channelInput=1&ipAddress=239.10.0.1&port=5000&programPid=4096&videoPid=256"
    "&audio1Pid=257&audio2Pid=258&isSap=false&isUll=true&name=Studio%20A%20%3Cmain%3E"
    "&fecPort1=5002&fecPort2=5004&channelName=stadium-uplink-2&channelUserName=decoder-17"
    "&channelPassword=correct%20horse%20battery%20staple&zixiUseBroadcaster=true&latency=1000"
    "&isStreamForwarding=false&forwardingTargetAddress=198.51.100.24&forwardingTargetPort=2088"
    "&forwardingMulticastInterface=1&forwardingUdpPacketSize=1316&forwardingTtl=64&status=2"
    "&aesEncryption=1&aesKey=0123456789abcdef0123456789abcdef"
    "&rtmpServerUrl=rtmp://media.example.org:1935/live/studio-a";
