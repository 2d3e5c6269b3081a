/* Servers that do what the demo never does. The first part of a path says what:
 * "/closes/api/uptime" closes the connection. */
import { execFileSync } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createServer } from 'node:http';
import { createServer as createTlsServer } from 'node:https';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const refused = '[\n{"message" : "The port is wrong.", "property" : "port"},\n{"message" : "No.", "property" : "name"}\n]';

/* Statuses and bodies; what is not here is done below. */
const answers = {
    raw: [200, '[\n{"text" : "one\ntwo\t&lt;b&gt; \\"q\\" \\\\ü"}\n]'],
    cut: [200, Buffer.from('[ {"text" : "caf\xc3"} ]', 'latin1')],
    empty: [200, ''],
    refused: [400, refused],
    damaged: [400, '[ {"status" : "ERROR", "message" : "The file is damaged."} ]'],
    missing: [404, '<html>404</html>'],
    'cut-list': [507, refused.slice(0, 40)],
    page: [200, '<html>Please log in</html>'],
    object: [200, '{"a" : 1}'],
};

async function echo(request, response) {
    const pieces = [];
    for await (const piece of request) pieces.push(piece);
    const body = Buffer.concat(pieces);
    response.end(JSON.stringify([{
        method: request.method,
        path: request.url,
        authorization: request.headers.authorization ?? '',
        type: request.headers['content-type'] ?? '',
        length: request.headers['content-length'] ?? '',
        body: body.toString('latin1'),
    }]));
}

/* urls: those of both servers. */
function behaviour(urls) {
    const sendOn = (response, status, location) => response.writeHead(status, { location }).end();
    const tear = (request, response, status) => {
        response.writeHead(status, { 'Content-Length': 100 });
        response.write('[ {', () => request.socket.destroy());
    };
    const odd = {
        echo,
        closes: (request) => request.socket.destroy(),
        torn: (request, response) => tear(request, response, 200),
        'torn-refusal': (request, response) => tear(request, response, 404),
        /* Longer than the clients' patience. */
        silent: (request) => setTimeout(() => request.socket.destroy(), 5000).unref(),
        full(request, response) { /* as soon as the headers are there */
            response.writeHead(413, { Connection: 'close' }).end('<html>413</html>');
        },
        moved: (request, response) => sendOn(response, 301, request.url.replace('/moved/', '/again/')),
        again: (request, response) => sendOn(response, 308, urls.tls + request.url.replace('/again/', '/echo/')),
        'other-host': (request, response) => sendOn(response, 301, 'http://other.invalid/api/uptime'),
        'out-of-tls': (request, response) => (request.socket.encrypted
            ? sendOn(response, 308, `${urls.plain}/echo/api/uptime`)
            : sendOn(response, 308, urls.tls + request.url)),
        'see-other': (request, response) => sendOn(response, 303, '/echo/api/uptime'),
        circle: (request, response) => sendOn(response, 307, request.url),
    };
    return (request, response) => {
        const name = request.url.split('/')[1];
        if (odd[name]) odd[name](request, response);
        else response.writeHead(answers[name]?.[0] ?? 500).end(answers[name]?.[1]);
    };
}

function certificate() {
    const directory = mkdtempSync(join(tmpdir(), 'certificate-'));
    const key = join(directory, 'key.pem'), cert = join(directory, 'cert.pem');
    execFileSync('openssl', ['req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256',
        '-nodes', '-subj', '/CN=odd server', '-addext', 'subjectAltName=IP:127.0.0.1',
        '-days', '2', '-keyout', key, '-out', cert], { stdio: 'ignore' });
    return { directory, ca: cert, key: readFileSync(key), cert: readFileSync(cert) };
}

export async function startOddServers() {
    const { directory, ca, key, cert } = certificate();
    const urls = {};
    const servers = { plain: createServer(behaviour(urls)), tls: createTlsServer({ key, cert }, behaviour(urls)) };
    for (const [name, server] of Object.entries(servers)) {
        await once(server.listen(0, '127.0.0.1'), 'listening');
        urls[name] = `http${name === 'tls' ? 's' : ''}://127.0.0.1:${server.address().port}`;
    }
    return {
        ...urls,
        ca,
        stop() {
            for (const server of Object.values(servers)) {
                server.close();
                server.closeAllConnections?.();
            }
            rmSync(directory, { recursive: true });
        },
    };
}
