/* Compiled, not run: what the client's types allow, and what they refuse. */
import { Device, DeviceError, Id, StreamRecord } from '../../clients/javascript/kelto-client.js';

export async function allowed(device: Device, file: File) {
    const [{ temperatureC }] = await device.get('uptime');
    const warm: number = temperatureC;
    const streams: StreamRecord[] = await device.get('stream');
    for (const { id } of streams) {
        const [stream] = await device.get(`stream/${id}`);
        await device.put(`stream/${id}`, { ...stream, port: 5000 });
        await device.put(`stream/select/${id}`);
    }
    const [{ audio }] = await device.get('decoder');
    const cell: boolean = audio.sdiHdmiOutput[1][2];
    await device.change('decoder/audio', { sdiHdmiOutput: audio.sdiHdmiOutput, volumeBalanced: -3 });
    await device.change('network', [{ id: 2, ip6ManualPrefix: 63 }]);
    await device.put('network', await device.get('network'));
    const [{ id }]: [{ id: Id }] = await device.post('stream', { name: 'a', aesKey: null });
    await device.delete(`configuration/${id}`);
    await device.post('login');
    const [{ message }] = await device.upload('general/firmwareUpgrade', 'packageName', file,
        { onprogress: (sent: number) => sent, signal: AbortSignal.timeout(1) });
    return [warm, cell, message] as [number, boolean, string];
}

export async function refused(device: Device) {
    // @ts-expect-error: there is no such path
    await device.get('stream/select/now');
    // @ts-expect-error: a command takes no form
    await device.put('channel/start', {});
    // @ts-expect-error: this one does
    await device.put('services');
    // @ts-expect-error: there is no such field
    await device.put('services', { discover: true });
    // @ts-expect-error: a flag is no text
    await device.change('services', { discovery: 'yes' });
    // @ts-expect-error: the list is one
    await device.put('network', { id: 1 });
    // @ts-expect-error: a report is not written
    await device.change('uptime', { fansRPM: 0 });
    // @ts-expect-error: it is the certificate's
    await device.upload('general/firmwareUpgrade', 'certificateName', 'a.bin');
    // @ts-expect-error: it is not to be deleted
    await device.delete('network');
    // @ts-expect-error: not by any text
    await device.get(`stream/${'x' as string}`);
    const error = new DeviceError('', { status: 400 });
    // @ts-expect-error: it stays
    error.status = 0;
}
