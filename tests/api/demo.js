/* The running demo, and the description that it is checked against. */
import assert from 'node:assert/strict';
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import { createServer } from 'node:net';

export const api = JSON.parse(readFileSync('docs/openapi.json', 'utf8'));

export const operations = Object.entries(api.paths).flatMap(([path, item]) =>
    ['get', 'post', 'put', 'delete']
        .filter((method) => item[method])
        .map((method) => ({ path, method, ...item[method] })));

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

/* With `secure`, it has TLS and a login. `options` are the simulated daemon's. */
export async function startDemo({ secure = false, options = [] } = {}) {
    const port = await freePort();
    const demo = spawn('scripts/private-mounts',
        ['scripts/serve', ...(secure ? ['--secure'] : []), port, '--control', '-', ...options]);
    let output = '';
    for (const stream of [demo.stdout, demo.stderr]) stream.on('data', (data) => { output += data; });
    const ended = once(demo, 'exit');
    process.once('exit', () => demo.kill());
    process.once('SIGTERM', () => process.exit(1));
    while (!output.includes('Serving ')) {
        const isOver = await Promise.race([ended, new Promise((resolve) => setTimeout(resolve, 50))]);
        assert.ok(!isOver, `the demo does not start:\n${output}`);
    }
    const url = `http${secure ? 's' : ''}://127.0.0.1:${port}`;
    return {
        url,
        /* Makes the simulated daemon do something wrong. */
        fault(text) {
            demo.stdin.write(`clear\nfault ${text}\n`);
            return once(demo.stdout, 'data');
        },
        async request(method, path, parameters) {
            const body = Object.entries(parameters ?? {})
                .map(([key, value]) => `${key}=${encodeURIComponent(value)}`).join('&');
            const headers = { 'Content-Type': 'application/x-www-form-urlencoded' };
            const response = await fetch(`${url}/api/${path}`, { method, headers, body: body || undefined });
            return response.status === 204 ? [] : response.json();
        },
        async stop() {
            demo.kill();
            await ended;
        },
    };
}
