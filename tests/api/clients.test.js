/* The JavaScript client, in Node: on the demo, and on servers that are odd. The
 * cases of clients.json are the Python client's, too. */
import assert from 'node:assert/strict';
import { File } from 'node:buffer'; /* no global in Node 18 */
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { Device, DeviceError, encodeForm } from '../../clients/javascript/kelto-client.js';
import { examples, fileParameter, inOrder, startDemo } from './demo.js';
import { startOddServers } from './odd-server.js';

const cases = JSON.parse(readFileSync('tests/api/clients.json', 'utf8'));
let demo, odd, directory;

before(async () => {
    demo = await startDemo();
    odd = await startOddServers();
    directory = mkdtempSync(join(tmpdir(), 'uploads-'));
});
after(async () => {
    odd.stop();
    rmSync(directory, { recursive: true });
    await demo.stop();
});

function fileOf(name, content) {
    writeFileSync(join(directory, name), content);
    return join(directory, name);
}

test('forms are encoded as the device reads them', () => {
    for (const [form, text] of cases.forms) assert.equal(encodeForm(form), text);
});

test('every operation is called on the demo', async () => {
    const device = new Device(demo.url);
    for (const operation of inOrder()) {
        const path = operation.path.replace('/api/', '').replace('{id}', '1');
        const parameter = fileParameter(operation);
        const answer = await (parameter
            ? device.upload(path, parameter, fileOf('file.bin', 'MZ a file'))
            : device[operation.method](path, operation.requestBody && examples(operation)));
        const status = Object.keys(operation.responses)[0];
        const { content } = operation.responses[status];
        assert.equal(Array.isArray(answer) && answer.length > 0, Boolean(content) ||
            operation.responses[status].$ref?.endsWith('/fixed') === true, operation.operationId);
    }
});

test('what is changed is read back, and nothing else changes', async () => {
    const device = new Device(`${demo.url}/`);
    for (const [path, changes] of cases.changes) {
        const before = await device.get(path);
        await device.change(path, changes);
        const wanted = before.map((record) =>
            ({ ...record, ...(Array.isArray(changes) ? changes.find(({ id }) => id === record.id) : changes) }));
        const after = await device.get(path);
        for (const key of ['date', 'time']) {
            if (key in after[0]) wanted[0][key] = after[0][key]; /* they run on */
        }
        assert.deepEqual(after, wanted, path);
    }
    await assert.rejects(device.change('network', [{ id: 9, type: 0 }]), /no entry with the id 9/);
});

test('an item is the one of the path', async () => {
    const device = new Device(demo.url);
    const [made] = await device.post('stream', { name: 'a new one' });
    await device.put(`stream/${made.id}`, { name: 'renamed', id: 1 });
    assert.equal((await device.get(`stream/${made.id}`))[0].name, 'renamed');
    await device.delete(`stream/${made.id}`);
    await assert.rejects(device.get(`stream/${made.id}`), (error) => error.status === 404);
});

test('refusals of the demo carry status and complaints', async () => {
    const device = new Device(demo.url);
    await assert.rejects(device.put('sap', { port: 0, ipAddress: 'x' }), (error) => {
        assert.ok(error instanceof DeviceError);
        assert.equal(error.status, 400);
        assert.deepEqual(error.complaints.map(({ property }) => property), ['ipAddress', 'port']);
        return true;
    });
    await assert.rejects(device.upload('general/firmwareUpgrade', 'packageName', fileOf('bad.bin', 'BAD')),
        { status: 400, message: 'The file is damaged.', complaints: [] });
    await assert.rejects(device.get('nothing'), { status: 404 });
});

test('a file arrives whole, with progress, under a name that is found again', async () => {
    const device = new Device(demo.url);
    const seen = [];
    const path = fileOf('100%41 "ü".pem', Buffer.alloc(3 << 20, 'certificate '));
    const onprogress = (sent) => seen.push(sent);
    const [result] = await device.upload('security/certificate', 'certificateName', path, { onprogress });
    assert.deepEqual(result, { status: 'OK', message: '100_41 _ü_.pem is the certificate now.' });
    assert.ok(seen.length > 10 && seen.every((sent, i) => i === 0 || sent > seen[i - 1]));
    assert.equal(seen.at(-1), 1);
    for (const file of [new Blob(['x']), new File(['x'], 'C:\\a\\b.pem')]) {
        assert.equal((await device.upload('security/certificate', 'certificateName', file))[0].status, 'OK');
    }
    assert.equal((await device.get('security'))[0].certificateName, 'b.pem');
});

test('odd answers are read', async () => {
    for (const [name, list] of cases.answers) {
        assert.deepEqual(await new Device(`${odd.plain}/${name}/`).get('uptime'), list);
    }
});

test('failures say what happened', async () => {
    for (const [name, status, message, complaints] of cases.failures) {
        const device = new Device(`${odd.plain}/${name}`, { timeout: 300, ca: readFileSync(odd.ca) });
        await assert.rejects(device.get('uptime'), (error) => {
            assert.ok(error instanceof DeviceError, `${name}: ${error}`);
            assert.deepEqual([error.status, error.complaints], [status, complaints], name);
            assert.ok(message ? error.message === message : error.message, `${name}: ${error.message}`);
            return true;
        });
    }
    await assert.rejects(new Device('http://127.0.0.1:1').get('uptime'), /does not answer/);
    await assert.rejects(new Device(odd.tls).get('uptime'), /does not answer.*certificate/);
});

test('login, body and method go along to where the server sends them', async () => {
    const device = new Device(`${odd.plain}/moved/`, { user: 'ä', password: 'b:c', ca: readFileSync(odd.ca) });
    const path = '/echo/api/stream/1', authorization = 'Basic w6Q6Yjpj';
    const type = 'application/x-www-form-urlencoded';
    assert.deepEqual(await device.put('stream/1', { name: 'x y' }),
        [{ method: 'PUT', path, authorization, type, length: '15', body: 'name=x%20y&id=1' }]);
    assert.deepEqual(await device.delete('stream/1'),
        [{ method: 'DELETE', path, authorization, type: '', length: '', body: '' }]);
    const [{ method, body }] = await device.upload('stream/1', 'file', fileOf('a.bin', 'a\r\nb'));
    assert.equal(method, 'POST');
    assert.match(body, /^--(\S+)\r\nContent-Disposition: form-data; name="file"; filename="a.bin"\r\nContent-Type: application\/octet-stream\r\n\r\na\r\nb\r\n--\1--\r\n$/);
    const [{ length }] = await device.post('stream/1');
    assert.equal(length, '0');
});

test('an upload that is refused early, given up or not there', async () => {
    const file = fileOf('large.bin', Buffer.alloc(30 << 20));
    const upload = (name, options, content = file) =>
        new Device(`${odd.plain}/${name}`).upload('general/firmwareUpgrade', 'packageName', content, options);
    await assert.rejects(upload('full'), { status: 413 });
    await assert.rejects(upload('closes'), { status: 0 });
    const reason = new Error('given up');
    await assert.rejects(upload('echo', { signal: AbortSignal.abort(reason) }), reason);
    const controller = new AbortController();
    await assert.rejects(upload('silent', { signal: controller.signal, onprogress: () => controller.abort(reason) }), reason);
    await assert.rejects(upload('echo', {}, join(directory, 'nothing')), { code: 'ENOENT' });
});

test('a form that would be empty to the device is not sent', async () => {
    const device = new Device(demo.url);
    const [{ bannerText }] = await device.get('security');
    await assert.rejects(device.put('security', { bannerText: 'x'.repeat(65536) }), RangeError);
    assert.equal((await device.get('security'))[0].bannerText, bannerText);
    await device.put('security', { bannerText: 'a', unknown: 'x'.repeat(65536 - 'bannerText=a&unknown='.length) });
    assert.equal((await device.get('security'))[0].bannerText, 'a');
});
