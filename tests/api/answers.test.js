/* Walks every operation of docs/openapi.json on the running demo, and holds
 * its answers against it. The other statuses: tests/second_opinion. */
import assert from 'node:assert/strict';
import { once } from 'node:events';
import { connect } from 'node:net';
import { after, before, test } from 'node:test';
import Ajv from 'ajv/dist/2020.js';
import { api, examples, fileParameter, inOrder, operations, resolved, startDemo } from './demo.js';

const ajv = new Ajv({ strict: false, validateFormats: false });
ajv.addSchema(api, 'api');

let demo;

before(async () => { demo = await startDemo(); });
after(() => demo.stop());

/* Sends it the way the description says, with the values of its examples. */
function send(operation, file = 'MZ a file') {
    const request = { method: operation.method.toUpperCase() };
    const name = fileParameter(operation);
    if (name) {
        request.body = new FormData();
        request.body.append(name, new Blob([file]), 'file.bin');
    } else if (operation.requestBody) {
        request.headers = { 'Content-Type': 'application/x-www-form-urlencoded' };
        request.body = Object.entries(examples(operation))
            .map(([key, value]) => `${key}=${encodeURIComponent(value)}`).join('&');
    }
    return fetch(demo.url + operation.path.replace('{id}', '1'), request);
}

/* The answer's status, after its headers and its body have passed. */
async function check(operation, answer) {
    const name = `${operation.operationId}: ${answer.status}`;
    assert.ok(operation.responses[answer.status], `${name} is not described`);
    const described = resolved(operation.responses[answer.status]);
    const body = await answer.text();
    for (const [header, { schema }] of Object.entries(described.headers ?? {})) {
        assert.equal(answer.headers.get(header), schema.const, name);
    }
    if (!described.content) {
        assert.equal(body, '', name);
        return answer.status;
    }
    const content = described.content[answer.headers.get('content-type')];
    assert.ok(content, `${name} has another type`);
    const validate = ajv.compile(JSON.parse(
        JSON.stringify(content.schema).replaceAll('"#/', '"api#/')));
    assert.ok(validate(JSON.parse(body)), `${name}: ${ajv.errorsText(validate.errors)}: ${body}`);
    return answer.status;
}

const success = (operation) => Number(Object.keys(operation.responses)[0]);

test('every operation does what its examples say', async () => {
    for (const operation of inOrder()) {
        assert.equal(await check(operation, await send(operation)), success(operation),
            operation.operationId);
    }
});

test('refused values are listed', async () => {
    for (const operation of operations.filter((o) => o.responses['400'] && o.requestBody)) {
        if (!fileParameter(operation)) await demo.fault(`refuse=2@${operation['x-command'].name}*1`);
        assert.equal(await check(operation, await send(operation, 'BAD file')), 400);
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
