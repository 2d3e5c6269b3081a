/* with-servers COMMAND ARGUMENT...: runs it beside the demo and the odd servers,
 * whose addresses are in its environment. */
import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { startDemo } from './demo.js';
import { startOddServers } from './odd-server.js';

const demo = await startDemo();
const odd = await startOddServers();
const [command, ...rest] = process.argv.slice(2);
const child = spawn(command, rest, {
    stdio: 'inherit',
    env: { ...process.env, DEMO: demo.url, ODD_PLAIN: odd.plain, ODD_TLS: odd.tls, ODD_CA: odd.ca },
});
const [status] = await once(child, 'exit');
odd.stop();
await demo.stop();
process.exitCode = status ?? 1;
