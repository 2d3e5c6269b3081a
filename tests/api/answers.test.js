/* Walks every operation of docs/openapi.json on the running demo, and holds
 * each answer against it. */
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { connect } from 'node:net';
import { after, before, test } from 'node:test';
import Ajv from 'ajv/dist/2020.js';
import { api, byId, examples, fileParameter, inOrder, operations, resolved, startDemo } from './demo.js';

const ajv = new Ajv({ strict: false, validateFormats: false });
ajv.addSchema(api, 'api');

const seen = new Set();
let demo;

before(async () => { demo = await startDemo(); });
after(() => demo.stop());

/* The two ways of a form. Names are sent as they are, brackets included. */
const bodies = {
    'multipart/form-data'(values) {
        const body = new FormData();
        for (const [name, value] of Object.entries(values)) {
            if (value instanceof Blob) body.append(name, value, 'file.bin');
            else body.append(name, value);
        }
        return { body };
    },
    'application/x-www-form-urlencoded': (values) => ({
        headers: { 'Content-Type': 'application/x-www-form-urlencoded' },
        body: Object.entries(values)
            .map(([name, value]) => `${name}=${encodeURIComponent(value)}`).join('&'),
    }),
};

/* Sends it the way the description says, by default the first
 * there, with the values of its examples. */
function send(operation, { file = 'MZ a file', type, path = operation.path } = {}) {
    let request;
    if (operation.requestBody) {
        const name = fileParameter(operation);
        const values = name ? { [name]: new Blob([file]) } : examples(operation);
        request = bodies[type ?? Object.keys(operation.requestBody.content)[0]](values);
    }
    return fetch(demo.url + path.replace('{id}', '1'),
        { method: operation.method.toUpperCase(), ...request });
}

/* The answer's status, after its headers and its body have passed. */
async function check(operation, answer) {
    const name = `${operation.operationId}: ${answer.status}`;
    assert.ok(operation.responses[answer.status], `${name} is not described`);
    seen.add(name);
    const described = resolved(operation.responses[answer.status]);
    const body = await answer.text();
    for (const [header, { schema }] of Object.entries(described.headers ?? {})) {
        assert.equal(answer.headers.get(header), schema.const, name);
    }
    /* Of the answers that are described with a body only a 507 may lack it. */
    if (!described.content || (body === '' && answer.status === 507)) {
        assert.equal(body, '', name);
        return answer.status;
    }
    const content = described.content[answer.headers.get('content-type')];
    assert.ok(content, `${name} has another type`);
    const validate = ajv.compile(JSON.parse(
        JSON.stringify(content.schema).replaceAll('"#/', '"api#/')));
    /* Only the list that is cut is no JSON. */
    assert.notEqual(body, '', `${name} has no body`);
    const value = content.schema.type === 'string' ? body : JSON.parse(body);
    assert.ok(validate(value), `${name}: ${ajv.errorsText(validate.errors)}: ${body}`);
    return answer.status;
}

const success = (operation) => Number(Object.keys(operation.responses)[0]);

test('every operation does what its examples say', async () => {
    for (const operation of inOrder()) {
        assert.equal(await check(operation, await send(operation)), success(operation),
            operation.operationId);
    }
});

for (const type of Object.keys(bodies)) {
    test(`the values of a form are read back, sent as ${type}`, async () => {
        const settings = operations.filter((o) => o.requestBody && o.method === 'put' &&
            o.responses['400'] && o.path !== '/api/network');
        for (const operation of settings) {
            assert.equal((await send(operation, { type })).status, 204);
            const read = operations.find((o) => o.path === operation.path && o.method === 'get');
            const [record] = await (await send(read)).json();
            for (const [name, value] of Object.entries(examples(operation))) {
                if (name === 'time') continue; /* it runs on */
                const at = name.split(/[[\]]+/).filter(Boolean).reduce((in_it, key) => in_it[key], record);
                assert.equal(at, value, `${operation.operationId}: ${name}`);
            }
        }
    });
}

/* A PUT goes by the id in its form. */
test('an item that is not there is a 404', async () => {
    for (const operation of operations.filter((o) => o.responses['404'] && o.method !== 'put')) {
        const path = operation.path.replace('{id}', '999');
        assert.equal(await check(operation, await send(operation, { path })), 404);
    }
});

test('refused values are listed, or are a 404', async () => {
    for (const operation of operations.filter((o) => o.requestBody && o['x-command'])) {
        if (fileParameter(operation)) {
            assert.equal(await check(operation, await send(operation, { file: 'BAD file' })), 400);
            continue;
        }
        const is_item = operation.responses['404'];
        for (const [complaints, status] of [[2, 400], [100, 507]]) {
            await demo.fault(`refuse=${complaints}@${operation['x-command'].name}*1`);
            assert.equal(await check(operation, await send(operation)), is_item ? 404 : status);
        }
    }
});

test('a daemon that fails is a 500, or a 404', async () => {
    for (const operation of operations.filter((o) => o['x-command'])) {
        await demo.fault(`bad-checksum@${operation['x-command'].name}*1`);
        const expected = operation.responses['404'] ? 404 : 500;
        assert.equal(await check(operation, await send(operation)), expected,
            operation.operationId);
    }
});

test('a daemon that is silent is a 408', async () => {
    await demo.fault('silence@CMD_UPTIME_GET*1');
    assert.equal(await check(byId('getUptime'), await send(byId('getUptime'))), 408);
});

test('another method is a 405', async () => {
    for (const operation of operations) {
        const method = 'patch';
        assert.equal(await check(operation, await send({ ...operation, method })), 405);
    }
});

/* A time-out takes half a minute, and one that has no room half of the memory. */
test('no status is described that does not come', () => {
    for (const operation of operations) {
        for (const status of Object.keys(operation.responses)) {
            if (['408', '507', 'default'].includes(status)) continue;
            const name = `${operation.operationId}: ${status}`;
            assert.ok(seen.has(name), name);
        }
    }
});

/* fetch cannot make such requests. */
async function rawStatus(head) {
    const socket = connect(new URL(demo.url).port, '127.0.0.1');
    socket.end(`${head}\r\nHost: 127.0.0.1\r\nConnection: close\r\n\r\n`);
    let text = '';
    socket.setEncoding('utf8').on('data', (data) => { text += data; });
    await once(socket, 'close');
    return [Number(text.split(' ')[1]), /^content-type: text\/html/im.test(text)];
}

test('what the server refuses itself is a page', async () => {
    const { description } = api.components.responses.server;
    const refused = {
        400: 'GET /api/uptime HTTP/1.1\r\nContent-Length: many',
        404: 'GET /api/nothing HTTP/1.1',
        411: 'POST /api/stream HTTP/1.1',
        413: 'POST /api/stream HTTP/1.1\r\nContent-Length: 99999999999',
    };
    for (const [status, head] of Object.entries(refused)) {
        assert.deepEqual(await rawStatus(head), [Number(status), true]);
        assert.match(description, new RegExp(status));
    }
});
