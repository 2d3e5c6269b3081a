// Types of kelto-client.js, made by tools/generate.

/** A number, as it stands in paths and answers: "7". */
export type Id = `${number}`;

/** What a form takes of a record. What it leaves out is not kept as it was. */
export type Form<Type> = Type extends (infer Item)[] ? Form<Item>[] : {
  [Key in keyof Type]?: (Type[Key] extends Id ? Id | number : Type[Key]) | null;
};

export interface StreamRecord {
  id: Id;
  /** On the simulated device: 0 UDP, 1 RTP, 2 Zixi, 3 SRT, 4 RTMP, 5 ASI. */
  protocol: number;
  /** On the simulated device: 0 and 1 the Ethernet ports, 2 ASI. */
  channelInput: number;
  /** On the simulated device the address must be an IPv4 or IPv6 address. */
  ipAddress: string;
  /** On the simulated device the port must be from 1 to 65535. */
  port: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  programPid: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  videoPid: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  audio1Pid: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  audio2Pid: number;
  isSap: boolean;
  isUll: boolean;
  name: string;
  /** On the simulated device the port must be from 1 to 65535. */
  fecPort1: number;
  /** On the simulated device the port must be from 1 to 65535. */
  fecPort2: number;
  channelName: string;
  channelUserName: string;
  channelPassword: string;
  zixiUseBroadcaster: boolean;
  /** On the simulated device the time in milliseconds must be from 0 to 60000. */
  latency: number;
  isStreamForwarding: boolean;
  /** On the simulated device the address must be an IPv4 or IPv6 address. */
  forwardingTargetAddress: string;
  /** On the simulated device the port must be from 1 to 65535. */
  forwardingTargetPort: number;
  forwardingMulticastInterface: number;
  /** On the simulated device the packet size must be from 188 to 9000. */
  forwardingUdpPacketSize: number;
  /** On the simulated device the time to live must be from 0 to 255. */
  forwardingTtl: number;
  /** What the device reports. The simulated one: 0 idle, 1 being received; it takes no status from a form. */
  status: number;
  aesEncryption: number;
  aesKey: string;
  rtmpServerUrl: string;
}

export interface DecoderVideoRecord {
  outputResolution: number;
  isPrimarySdi1: boolean;
  isPrimarySdi2: boolean;
  isHdmi: boolean;
  hdmiMode: number;
  outputResolution2: number;
  isSecondarySdi2: boolean;
  isComposite: boolean;
  displayFormat: number;
  aspectRatio: number;
  displayFormat2: number;
  aspectRatio2: number;
}

export interface DecoderAudioRecord {
  sdiHdmiOutput: boolean[][];
  digitalOutput: number;
  aesOutput1: boolean[];
  aesOutput2: boolean[];
  analogOutput: boolean[];
  balancedMode: number;
  /** On the simulated device the volume must be from -100 to 100. */
  volumeUnbalanced: number;
  /** On the simulated device the volume must be from -100 to 100. */
  volumeBalanced: number;
}

export interface DecoderConfigurationRecord {
  /** On the simulated device: 0 internal, 1 genlock. */
  clockSource: number;
  bufferMode: number;
  /** On the simulated device the time in milliseconds must be from 0 to 60000. */
  decoderBuffer: number;
  /** On the simulated device the time in milliseconds must be from 0 to 60000. */
  endToEndLatency: number;
  isEnhancedErrorConcealment: boolean;
  isStreamLossBanner: boolean;
  decoderStopImage: number;
}

export interface DecoderVbiancRecord {
  closedCaptioning: number;
  timecode: number;
  afd: number;
  /** On the simulated device the AFD value must be from 0 to 15. */
  afdValue: number;
  lineInsertionAuto: boolean;
  /** On the simulated device the line must be from 0 to 1125. */
  lineInsertionVitc: number;
  /** On the simulated device the line must be from 0 to 1125. */
  lineInsertionCea708608: number;
  /** On the simulated device the line must be from 0 to 1125. */
  lineInsertionAfd: number;
}

export interface DecoderTalkbackRecord {
  talkbackOption: number;
  /** On the simulated device the port must be from 1 to 65535. */
  serverPort: number;
  /** On the simulated device the volume must be from -100 to 100. */
  talkbackMicrophoneLevel: number;
  talkbackMicrophoneType: number;
  isTalkbackMicrophoneMute: boolean;
  /** On the simulated device the volume must be from -100 to 100. */
  talkbackMicrophoneGain: number;
  isTalkbackSpeakerMute: boolean;
  /** On the simulated device the volume must be from -100 to 100. */
  talkbackSpeakerGain: number;
}

export interface DecoderSummaryRecord {
  video: DecoderVideoRecord;
  audio: DecoderAudioRecord;
  configuration: DecoderConfigurationRecord;
  vbianc: DecoderVbiancRecord;
  talkback: DecoderTalkbackRecord;
}

export interface ChannelRecord {
  id: Id;
  /** On the simulated device: 0 UDP, 1 RTP, 2 Zixi, 3 SRT, 4 RTMP, 5 ASI. */
  protocol: number;
  /** On the simulated device: 0 and 1 the Ethernet ports, 2 ASI. */
  channelInput: number;
  /** On the simulated device the address must be an IPv4 or IPv6 address. */
  ipAddress: string;
  /** On the simulated device the port must be from 1 to 65535. */
  port: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  programPid: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  videoPid: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  audio1Pid: number;
  /** On the simulated device the PID must be from 0 to 8191. */
  audio2Pid: number;
  isSap: boolean;
  isUll: boolean;
  name: string;
  /** On the simulated device the port must be from 1 to 65535. */
  fecPort1: number;
  /** On the simulated device the port must be from 1 to 65535. */
  fecPort2: number;
  channelName: string;
  channelUserName: string;
  channelPassword: string;
  zixiUseBroadcaster: boolean;
  /** On the simulated device the time in milliseconds must be from 0 to 60000. */
  latency: number;
  isStreamForwarding: boolean;
  /** On the simulated device the address must be an IPv4 or IPv6 address. */
  forwardingTargetAddress: string;
  /** On the simulated device the port must be from 1 to 65535. */
  forwardingTargetPort: number;
  forwardingMulticastInterface: number;
  /** On the simulated device the packet size must be from 188 to 9000. */
  forwardingUdpPacketSize: number;
  /** On the simulated device the time to live must be from 0 to 255. */
  forwardingTtl: number;
  /** What the device reports. The simulated one: 0 idle, 1 being received; it takes no status from a form. */
  status: number;
  aesEncryption: number;
  aesKey: string;
  rtmpServerUrl: string;
  videoCodec: number;
  audioCodec: number;
  resolution: string;
  outputResolution: number;
  isKlv: boolean;
  isFec: boolean;
  isTalkback: boolean;
  talkbackOption: number;
}

export interface ChannelVideoRecord {
  codec: number;
  chromaSampling: number;
  width: number;
  height: number;
  framerate: number;
  scanType: number;
  /** In Mbit/s on the simulated device. */
  inputBitrate: number;
}

export interface ChannelAudioRecord {
  codec: number;
  /** In Hz on the simulated device. */
  samplingFrequency: number;
  channels: number;
  /** In kbit/s on the simulated device. */
  inputBitrate: number;
}

export interface ChannelInfoRecord {
  video: ChannelVideoRecord;
  audio: ChannelAudioRecord;
  /** In Mbit/s on the simulated device. */
  systemBitrate: number;
  endToEndLatency: string;
  errorCorrection: string;
  vitc: string;
  cc: string;
  encryption: string;
}

export interface NetworkInterfaceRecord {
  id: Id;
  /** On the simulated device: 0 management, 1 streams. */
  type: number;
  /** On the simulated device: 0 fixed, 1 automatic. */
  ip4Type: number;
  /** On the simulated device the address must be one such as 192.168.1.20. */
  ipAddress: string;
  /** On the simulated device the mask must be one such as 255.255.255.0. */
  networkMask: string;
  /** On the simulated device the address must be one such as 192.168.1.20. */
  defaultGateway: string;
  /** On the simulated device: 0 fixed, 1 automatic. */
  ip6Type: number;
  /** On the simulated device the address must be one such as fd00::20. */
  ip6AutoAddress: string;
  /** On the simulated device the prefix length must be from 0 to 128. */
  ip6AutoPrefix: number;
  /** On the simulated device the address must be one such as fd00::20. */
  ip6ManualAddress: string;
  /** On the simulated device the prefix length must be from 0 to 128. */
  ip6ManualPrefix: number;
  isManagementAccess: boolean;
  isPrimaryDefaultGateway: boolean;
  hardwareAddress: string;
}

export interface SapRecord {
  useDefaultAddressPort: boolean;
  interface: number;
  /** On the simulated device the address must be an IPv4 or IPv6 address. */
  ipAddress: string;
  /** On the simulated device the port must be from 1 to 65535. */
  port: number;
}

export interface SapStreamRecord {
  id: Id;
  /** On the simulated device: 0 UDP, 1 RTP, 2 Zixi, 3 SRT, 4 RTMP, 5 ASI. */
  protocol: number;
  /** On the simulated device: 0 and 1 the Ethernet ports, 2 ASI. */
  channelInput: number;
  ipAddress: string;
  port: number;
  programPid: number;
  videoPid: number;
  audio1Pid: number;
  audio2Pid: number;
  isSap: boolean;
  isUll: boolean;
}

export interface SecurityRecord {
  /** Asked for by the simulated device with a newPassword. */
  currentPassword: string;
  /** Empty: the password of the simulated device stays. */
  newPassword: string;
  /** On the simulated device the name must be of letters, digits, hyphens. */
  hostname: string;
  isBannerEnabled: boolean;
  /** Answers end at 5119 bytes, in the middle if need be: what is longer than that with the other fields cannot be read back. On the simulated device the banner text may be at most 3968 bytes long, where < and > count as 4 bytes, and a double quote and a backslash as 2. */
  bannerText: string;
  certificateName: string;
}

export interface OperationResultRecord {
  /** Of the simulated device: OK or ERROR. */
  status: string;
  /** For people. */
  message: string;
}

export interface NoticeRecord {
  isBannerEnabled: boolean;
  /** Answers end at 5119 bytes, in the middle if need be: what is longer than that with the other fields cannot be read back. */
  bannerText: string;
}

export interface SysdatetimeRecord {
  useNtp: boolean;
  /** On the simulated device the server must be an IP address or a host name. */
  ntpServerAddress: string;
  /** On the simulated device the period must be from 1 to 604800. */
  ntpSyncPeriod: number;
  /** On the simulated device the date must look like 2025-12-31. */
  date: string;
  /** On the simulated device the time must look like 23:59 or 23:59:59. */
  time: string;
  timeZone: string;
  isDaylightSavingEnabled: boolean;
  /** On the simulated device the date must look like 2025-12-31. */
  daylightSavingStartDate: string;
  /** On the simulated device the date must look like 2025-12-31. */
  daylightSavingStopDate: string;
  /** On the simulated device the hour must be from 0 to 23. */
  daylightSavingStartHour: number;
  /** On the simulated device the hour must be from 0 to 23. */
  daylightSavingStopHour: number;
}

export interface PortsRecord {
  /** On the simulated device: 0 off, 1 in use. */
  ethernet1: number;
  /** On the simulated device: 0 off, 1 in use. */
  ethernet2: number;
  /** On the simulated device: 0 off, 1 in use. */
  dvbAsiIn: number;
  /** On the simulated device: 0 off, 1 in use. */
  dvbAsiOut: number;
  /** On the simulated device: 0 off, 1 in use. */
  serialAudioGenLock: number;
  /** On the simulated device: 0 off, 1 in use. */
  cvbs: number;
  /** On the simulated device: 0 off, 1 in use. */
  hdmi: number;
  /** On the simulated device: 0 off, 1 in use. */
  sdi1: number;
  /** On the simulated device: 0 off, 1 in use. */
  sdi2: number;
  /** On the simulated device: 0 off, 1 in use. */
  power: number;
}

export interface LedsRecord {
  /** On the simulated device: 0 off, 1 in use. */
  ntp: number;
  /** On the simulated device: 0 off, 1 in use. */
  genlock: number;
  /** On the simulated device: 0 off, 1 in use. */
  talkback: number;
}

export interface ServicesRecord {
  discovery: boolean;
}

export interface ConfigurationRecord {
  id: Id;
  name: string;
  description: string;
  created: string;
  isAutoStart: boolean;
}

export interface GeneralInfoRecord {
  systemSerialNumber: string;
  boardSerialNumber: string;
  hardware: string;
  /** Its version, which is also in the pages' addresses. */
  software: string;
}

export interface UpgradeStatusRecord {
  /** On the simulated device: 0 no upgrade, 1 going on, 2 finished, 3 failed. */
  status: number;
  /** For people. */
  stage: string;
  /** How much of the upgrade is done. */
  percent: number;
}

export interface FreespaceRecord {
  /** Of /tmp; in MiB on the simulated device. */
  tmp: number;
}

export interface UptimeRecord {
  dateTime: string;
  uptime: string;
  /** In degrees Celsius. */
  temperatureC: number;
  /** In revolutions per minute. */
  fansRPM: number;
}

export interface ChangesRecord {
  channelList: number;
  configList: number;
  channelInfo: number;
  portsInfo: number;
  decoderParameters: number;
  networkParameters: number;
  datetimeParameters: number;
  software: number;
}

export interface ZixiStatsRecord {
  /** In kbit/s on the simulated device. */
  totalBitrate: number;
  /** In kbit/s on the simulated device. */
  availableBitrate: number;
  reconnections: number;
  /** In milliseconds on the simulated device. */
  roundTimeTrip: number;
  /** In milliseconds on the simulated device. */
  jitter: number;
  /** In milliseconds on the simulated device. */
  latency: number;
  totalPackets: number;
  packetRate: number;
  packetLoss: number;
  droppedPackets: number;
  recoveredPackets: number;
  nonRecoveredPackets: number;
}

export interface SrtStatsRecord {
  /** In kbit/s on the simulated device. */
  totalBitrate: number;
  /** In milliseconds on the simulated device. */
  roundTimeTrip: number;
  /** In bytes on the simulated device. */
  mtu: number;
  totalPackets: number;
  packetLoss: number;
  droppedPackets: number;
  recoveredPackets: number;
}

/** What is read at a path. */
export interface Reads {
  "stream": StreamRecord[];
  [path: `stream/${number}`]: [StreamRecord];
  "stream/select": [];
  "decoder": [DecoderSummaryRecord];
  "decoder/video": [DecoderVideoRecord];
  "decoder/audio": [DecoderAudioRecord];
  "decoder/configuration": [DecoderConfigurationRecord];
  "decoder/vbianc": [DecoderVbiancRecord];
  "decoder/talkback": [DecoderTalkbackRecord];
  "channel": [ChannelRecord];
  "channel/info": [ChannelInfoRecord];
  "network": NetworkInterfaceRecord[];
  "sap": [SapRecord];
  "sap/stream": SapStreamRecord[];
  "security": [SecurityRecord];
  "notice": [NoticeRecord];
  "sysdatetime": [SysdatetimeRecord];
  "ports": [PortsRecord];
  "leds": [LedsRecord];
  "services": [ServicesRecord];
  "configuration": ConfigurationRecord[];
  [path: `configuration/${number}`]: [ConfigurationRecord];
  "configuration/activate": [];
  "general": [GeneralInfoRecord];
  "general/upgradeStatus": [UpgradeStatusRecord];
  "general/freespace": [FreespaceRecord];
  "uptime": [UptimeRecord];
  "login": [];
  "logout": [];
  "talkback": [];
  "changes": [ChangesRecord];
  "zixiStats": [ZixiStatsRecord];
  "srtStats": [SrtStatsRecord];
}

/** What is changed at a path. */
export interface Changes {
  [path: `stream/${number}`]: StreamRecord;
  "decoder/video": DecoderVideoRecord;
  "decoder/audio": DecoderAudioRecord;
  "decoder/configuration": DecoderConfigurationRecord;
  "decoder/vbianc": DecoderVbiancRecord;
  "decoder/talkback": DecoderTalkbackRecord;
  "network": NetworkInterfaceRecord[];
  "sap": SapRecord;
  "security": SecurityRecord;
  "sysdatetime": SysdatetimeRecord;
  "services": ServicesRecord;
  [path: `configuration/${number}`]: ConfigurationRecord;
}

/** What is created at a path. */
export interface Creations {
  "stream": StreamRecord;
  "configuration": ConfigurationRecord;
}

/** The parameter that takes the file, and the answer. */
export interface Uploads {
  "security/certificate": { parameter: "certificateName"; result: OperationResultRecord };
  "general/firmwareUpgrade": { parameter: "packageName"; result: OperationResultRecord };
}

/** Paths of PUT and POST without a form, and those of DELETE. */
export type Command =
  | `stream/select/${number}`
  | "decoder"
  | "channel/start"
  | "channel/stop"
  | "security/certificate/default"
  | `configuration/activate/${number}`
  | "general/restart"
  | "general/factoryReset"
  | "talkback/start"
  | "talkback/stop";
export type Call =
  | "sap/stream"
  | "general/uidLed"
  | "login"
  | "logout";
export type Deletion =
  | `stream/${number}`
  | `configuration/${number}`;

/** What the device has against a parameter of a form. */
export interface Complaint {
  message: string;
  property: string;
}

export class DeviceError extends Error {
  constructor(message: string, more?: { status?: number; complaints?: Complaint[]; cause?: unknown });
  /** Of the answer; 0 when there was none. */
  readonly status: number;
  readonly complaints: Complaint[];
}

export interface Options {
  user?: string;
  password?: string;
  /** Certificates to trust, in PEM; in Node only. */
  ca?: string | Uint8Array;
  /** In milliseconds, in which nothing moves. */
  timeout?: number;
}

export interface UploadOptions {
  /** Gets how much is sent, from 0 to 1. */
  onprogress?: (sent: number) => void;
  signal?: AbortSignal;
}

/** Paths are those below /api. */
export class Device {
  constructor(address?: string | URL, options?: Options);
  get<Path extends keyof Reads>(path: Path): Promise<Reads[Path]>;
  put<Path extends keyof Changes>(path: Path, form: Form<Changes[Path]>): Promise<[]>;
  put(path: Command): Promise<[]>;
  post<Path extends keyof Creations>(path: Path, form: Form<Creations[Path]>): Promise<[Creations[Path]]>;
  post(path: Call): Promise<unknown[]>;
  delete(path: Deletion): Promise<[]>;
  /** Reads, changes and writes. Of a list, each change needs its id. */
  change<Path extends keyof Changes & keyof Reads>(path: Path, changes: Form<Changes[Path]>): Promise<[]>;
  /** `file` can be a path in Node. */
  upload<Path extends keyof Uploads>(path: Path, parameter: Uploads[Path]["parameter"],
    file: Blob | string, options?: UploadOptions): Promise<[Uploads[Path]["result"]]>;
}

/** What a form sends, by name. */
export function parameters(form: object): Record<string, unknown>;
export function encodeForm(form: object): string;
