/* A client that a generator made of docs/openapi.json: what the description can
 * say, it does right. tests/api/run generates it. */
import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import { after, before, test } from 'node:test';
import { startDemo } from './demo.js';

const require = createRequire(import.meta.url);
const sdk = require('./generated');
const { client } = require('./generated/client.gen');
let demo;

/* The generator takes text/json for text until it is told. */
before(async () => {
    demo = await startDemo();
    client.setConfig({ baseUrl: demo.url, parseAs: 'json', throwOnError: true });
});
after(() => demo.stop());

test('keys with an index arrive', async () => {
    const [{ aesOutput1, sdiHdmiOutput, ...others }] = (await sdk.getDecoderAudio()).data;
    const numbers = Object.fromEntries(Object.entries(others).filter(([, value]) => !Array.isArray(value)));
    await sdk.putDecoderAudio({ body: { ...numbers, 'aesOutput1[2]': true, 'sdiHdmiOutput[1][3]': true } });
    const [now] = (await sdk.getDecoderAudio()).data;
    assert.deepEqual(now.aesOutput1, [false, false, true, false]);
    assert.deepEqual(now.sdiHdmiOutput[1], [false, false, false, true]);
    assert.equal(now.volumeBalanced, others.volumeBalanced);
    await sdk.putNetwork({ body: { 'id[0]': '2', 'ip6ManualPrefix[0]': 63, 'hardwareAddress[0]': 'a + b' } });
    const { ip6ManualPrefix, hardwareAddress } = (await sdk.getNetwork()).data[1];
    assert.deepEqual([ip6ManualPrefix, hardwareAddress], [63, 'a + b']);
});

test('blanks, plus signs and what else a text can hold arrive', async () => {
    const name = 'a + b & c = "d" \\ ü';
    const { data: [made] } = await sdk.postStream({ body: { name, port: 5000 } });
    assert.equal(made.name, name);
    await sdk.putStreamId({ path: { id: made.id }, body: { ...made, port: 5001 } });
    assert.deepEqual((await sdk.getStreamId({ path: { id: made.id } })).data, [{ ...made, port: 5001 }]);
    await sdk.deleteStreamId({ path: { id: made.id } });
});

test('a file arrives', async () => {
    const body = { packageName: new Blob(['MZ a package']) };
    const { data } = await sdk.postGeneralFirmwareUpgrade({ body });
    assert.deepEqual(data, [{ status: 'OK', message: 'Installing blob.' }]);
});

test('a refusal brings its complaints', async () => {
    const error = await sdk.putSap({ body: { port: 0 } }).then(() => undefined, (refused) => refused);
    assert.deepEqual(error, [{ message: 'The port must be from 1 to 65535.', property: 'port' }]);
});
