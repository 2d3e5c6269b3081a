/* Walks every operation of docs/openapi.json on the running demo, and holds
 * each answer against it. */
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { createInterface } from 'node:readline';
import { after, before, test } from 'node:test';
import Ajv from 'ajv/dist/2020.js';

const port = process.env.API_TEST_PORT ?? '18470';
const api = JSON.parse(readFileSync('docs/openapi.json', 'utf8'));
const ajv = new Ajv({ strict: false, validateFormats: false });
ajv.addSchema(api, 'api');

const operations = Object.entries(api.paths).flatMap(([path, item]) =>
    ['get', 'post', 'put', 'delete']
        .filter((method) => item[method])
        .map((method) => ({ path, method, ...item[method] })));

const seen = new Set();

let demo;

before(async () => {
    demo = spawn('scripts/private-mounts', ['scripts/serve', port, '--control', '-'],
        { stdio: ['pipe', 'pipe', 'ignore'] });
    for await (const line of createInterface({ input: demo.stdout })) {
        if (line.startsWith('Serving')) return;
    }
    assert.fail('the demo does not start');
});

after(async () => {
    demo.kill();
    if (demo.exitCode === null) await once(demo, 'exit');
});

/* The parameters of its form that have one. Their names are sent as they stand,
 * brackets and all. */
function examples(operation) {
    const [{ schema }] = Object.values(operation.requestBody.content);
    return Object.entries(schema.properties)
        .filter(([, parameter]) => parameter.examples)
        .map(([name, parameter]) => [name, parameter.examples[0]]);
}

/* Sends it the way the description says, with the values of its examples. */
function send(operation, file = 'MZ a file') {
    const body = operation.requestBody?.content;
    let sent, headers;
    if (body?.['multipart/form-data']) {
        sent = new FormData();
        const [name] = Object.keys(body['multipart/form-data'].schema.properties);
        sent.append(name, new Blob([file]), 'file.bin');
    } else if (body) {
        sent = examples(operation)
            .map(([name, value]) => `${name}=${encodeURIComponent(value)}`).join('&');
        headers = { 'Content-Type': 'application/x-www-form-urlencoded' };
    }
    const path = operation.path.replace('{id}', '1');
    return fetch(`http://127.0.0.1:${port}${path}`,
        { method: operation.method.toUpperCase(), headers, body: sent });
}

/* The answer's status, after its headers and its body have passed. */
async function check(operation, answer) {
    const name = `${operation.operationId}: ${answer.status}`;
    let described = operation.responses[answer.status];
    assert.ok(described, `${name} is not described`);
    seen.add(name);
    if (described.$ref) described = api.components.responses[described.$ref.split('/').pop()];
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

function fault(text) {
    demo.stdout.resume(); /* Node 18 leaves it paused after the first lines */
    demo.stdin.write(`clear\nfault ${text}\n`);
    return new Promise((resolve) => demo.stdout.once('data', resolve));
}

const success = (operation) => Number(Object.keys(operation.responses)[0]);

test('every operation does what its examples say', async () => {
    const rank = ({ method, path }) => (method === 'delete') + 2 * /factory|restart/.test(path);
    for (const operation of [...operations].sort((a, b) => rank(a) - rank(b))) {
        assert.equal(await check(operation, await send(operation)), success(operation),
            operation.operationId);
    }
});

test('the values of a form are read back', async () => {
    const settings = operations.filter((o) => o.requestBody && o.method === 'put' &&
        o.responses['400'] && o.path !== '/api/network');
    for (const operation of settings) {
        assert.equal((await send(operation)).status, 204);
        const read = operations.find((o) => o.path === operation.path && o.method === 'get');
        const [record] = await (await send(read)).json();
        for (const [name, value] of examples(operation)) {
            if (name === 'time') continue; /* it runs on */
            const at = name.split(/[[\]]+/).filter(Boolean).reduce((in_it, key) => in_it[key], record);
            assert.equal(at, value, `${operation.operationId}: ${name}`);
        }
    }
});

/* A PUT goes by the id in its form. */
test('an item that is not there is a 404', async () => {
    for (const operation of operations.filter((o) => o.responses['404'] && o.method !== 'put')) {
        const path = operation.path.replace('{id}', '999');
        assert.equal(await check(operation, await send({ ...operation, path })), 404);
    }
});

test('refused values are listed, or are a 404', async () => {
    for (const operation of operations.filter((o) => o.requestBody && o['x-command'])) {
        if (operation.requestBody.content['multipart/form-data']) {
            assert.equal(await check(operation, await send(operation, 'BAD file')), 400);
            continue;
        }
        const is_item = operation.responses['404'];
        for (const [complaints, status] of [[2, 400], [100, 507]]) {
            await fault(`refuse=${complaints}@${operation['x-command'].name}*1`);
            assert.equal(await check(operation, await send(operation)), is_item ? 404 : status);
        }
    }
});

test('a daemon that fails is a 500, or a 404', async () => {
    for (const operation of operations.filter((o) => o['x-command'])) {
        await fault(`bad-checksum@${operation['x-command'].name}*1`);
        const expected = operation.responses['404'] ? 404 : 500;
        assert.equal(await check(operation, await send(operation)), expected,
            operation.operationId);
    }
});

test('a daemon that is silent is a 408', async () => {
    const operation = operations.find((o) => o.operationId === 'getUptime');
    await fault('silence@CMD_UPTIME_GET*1');
    assert.equal(await check(operation, await send(operation)), 408);
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
            if (status === '408' || status === '507') continue;
            const name = `${operation.operationId}: ${status}`;
            assert.ok(seen.has(name), name);
        }
    }
});
