/* The running demo, and the description that it is checked against. */
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:net';
import { createInterface } from 'node:readline';

export const api = JSON.parse(readFileSync('docs/openapi.json', 'utf8'));

export const operations = Object.entries(api.paths).flatMap(([path, item]) =>
    ['get', 'post', 'put', 'delete']
        .filter((method) => item[method])
        .map((method) => ({ path, method, ...item[method] })));

export const byId = (id) => operations.find(({ operationId }) => operationId === id);

/* What a reference refers to, or the thing itself. */
export const resolved = ({ $ref, ...rest }) =>
    $ref ? $ref.split('/').slice(1).reduce((found, name) => found[name], api) : rest;

/* The parameters of a form that have an example, under their names on the wire. */
export function examples({ requestBody }) {
    const { schema } = requestBody.content['application/x-www-form-urlencoded'];
    const { properties } = resolved(schema.allOf ? schema.allOf[0] : schema);
    return Object.fromEntries(Object.entries(properties)
        .filter(([, parameter]) => parameter.examples)
        .map(([name, parameter]) => [name, parameter.examples[0]]));
}

/* The parameter that takes a file; undefined when none does. */
export function fileParameter({ requestBody }) {
    const { properties = {} } = requestBody?.content['multipart/form-data'].schema ?? {};
    return Object.keys(properties).find((name) => properties[name].format === 'binary');
}

/* As the last ones what ends the other operations' things, and the device's. */
export function inOrder() {
    const rank = ({ method, path }) => (method === 'delete') + 2 * /factory|restart/.test(path);
    return [...operations].sort((a, b) => rank(a) - rank(b));
}

async function freePort() {
    const server = createServer().listen(0, '127.0.0.1');
    await once(server, 'listening');
    const { port } = server.address();
    server.close();
    await once(server, 'close');
    return String(port);
}

/* fault(text) makes the simulated daemon do something wrong. */
export async function startDemo() {
    const port = await freePort();
    const demo = spawn('scripts/private-mounts', ['scripts/serve', port, '--control', '-'],
        { stdio: ['pipe', 'pipe', 'ignore'] });
    let isUp = false;
    for await (const line of createInterface({ input: demo.stdout })) {
        isUp = line.startsWith('Serving');
        if (isUp) break;
    }
    assert.ok(isUp, 'the demo does not start');
    return {
        url: `http://127.0.0.1:${port}`,
        fault(text) {
            demo.stdout.resume(); /* Node 18 leaves it paused after the first lines */
            demo.stdin.write(`clear\nfault ${text}\n`);
            return new Promise((resolve) => demo.stdout.once('data', resolve));
        },
        async stop() {
            demo.kill();
            if (demo.exitCode === null) await once(demo, 'exit');
        },
    };
}
