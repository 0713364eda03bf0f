// The real thing: a terminal of its own and `wz workbench` on it, for the tests, the bench and the pictures.

import { execFileSync, spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const kBuild = process.env.WZ_BUILD;
const kSource = process.env.WZ_SOURCE;
const kPatience = 30_000;
// A sanitizer holds freed memory back, by default 256 MiB of it, which is not the workbench's.
const kSanitizer = [process.env.ASAN_OPTIONS, 'quarantine_size_mb=8'].filter(Boolean).join(':');

/** Runs wz and gives what it prints. */
export function wz(...args) {
  return execFileSync(join(kBuild, 'bin/wz'), args, { encoding: 'utf8' });
}

export class Workbench {
  /** `applications`: folders that the page offers, {name: {file: text}}, beside the sample applications.
   * `root`: a folder that is theirs alone, where its name shows. */
  static async begin({ applications = {}, install = ['tip', 'loyalty'], root } = {}) {
    const bench = new Workbench();
    bench.root = root ?? mkdtempSync(join(tmpdir(), 'workbench-tests-'));
    mkdirSync(bench.root, { recursive: true });
    bench.terminal = join(bench.root, 'counter');
    wz('terminal', 'create', bench.terminal);
    bench.packages = [];
    for (const name of install) {
      const file = join(bench.root, `${name}.zip`);
      wz('pack', join(kSource, 'examples', name), '-o', file);
      bench.packages.push(file);
    }
    if (install.length > 0) wz('install', '--terminal', bench.terminal, ...bench.packages);
    const folders = [];
    for (const [name, files] of Object.entries(applications)) {
      folders.push(join(bench.root, name));
      for (const [file, text] of Object.entries(files)) {
        mkdirSync(join(bench.root, name), { recursive: true });
        writeFileSync(join(bench.root, name, file), text);
      }
    }
    await bench.serve(folders);
    return bench;
  }

  async serve(folders) {
    this.process = spawn(join(kBuild, 'bin/wz'), ['workbench', this.terminal, '--no-open', '--json', ...folders.flatMap((folder) => ['--folder', folder])], { stdio: ['ignore', 'pipe', 'pipe'], env: { ...process.env, ASAN_OPTIONS: kSanitizer } });
    let told = '';
    this.errors = '';
    this.process.stderr.on('data', (data) => { this.errors += data; });
    this.ended = new Promise((resolve) => this.process.on('exit', (code, signal) => resolve(signal ?? code)));
    this.address = await new Promise((resolve, reject) => {
      const timer = setTimeout(() => reject(new Error(`wz workbench tells no address: ${told}${this.errors}`)), kPatience);
      this.process.stdout.on('data', (data) => {
        told += data;
        const found = /http:\/\/127\.0\.0\.1:\d+\/\?token=\w+/.exec(told);
        if (found) {
          clearTimeout(timer);
          resolve(found[0]);
        }
      });
      void this.ended.then((how) => reject(new Error(`wz workbench ended (${how}): ${told}${this.errors}`)));
    });
    this.origin = new URL(this.address).origin;
  }

  /** A package of a folder with an application, to be dropped on the page. */
  pack(name, files) {
    const folder = join(this.root, 'packed', name);
    mkdirSync(folder, { recursive: true });
    for (const [file, text] of Object.entries(files)) writeFileSync(join(folder, file), text);
    const file = join(this.root, `${name}.zip`);
    wz('pack', folder, '-o', file);
    return file;
  }

  /** Ends the processes of this terminal whose command line has a text, as a crash would. */
  kill(text) {
    for (const line of execFileSync('ps', ['-eo', 'pid,args'], { encoding: 'utf8' }).split('\n')) {
      if (line.includes(text) && line.includes(this.terminal)) process.kill(Number(line.trim().split(' ', 1)[0]), 'SIGKILL');
    }
  }

  /** Memory of the server in KiB, without the applications that it runs. */
  memory() {
    const status = execFileSync('cat', [`/proc/${this.process.pid}/status`], { encoding: 'utf8' });
    return Number(/VmRSS:\s*(\d+)/.exec(status)[1]);
  }

  async end() {
    this.process.kill('SIGINT');
    const how = await Promise.race([this.ended, new Promise((resolve) => setTimeout(() => resolve('does not end'), kPatience))]);
    if (how === 'does not end') this.process.kill('SIGKILL');
    rmSync(this.root, { recursive: true, force: true });
    return how;
  }
}

export const manifestOf = (id, more = {}) => JSON.stringify({ application: { id, version: '1.0.0' }, sponsors: ['123456'], desktop: { file: 'index.html', name: id }, ...more });

/** An application that colours its whole page anew at every touch, and tells the console. */
export const kColours = {
  'manifest.mft': manifestOf('colours'),
  'index.html': '<!doctype html><meta charset="utf-8"><style>html{height:100%}</style><script src="app.js"></script>',
  'app.js': `const kColours = ['rgb(178, 66, 31)', 'rgb(11, 92, 115)', 'rgb(10, 99, 72)'];
let touched = 0;
const show = () => { document.documentElement.style.background = kColours[touched % kColours.length]; };
addEventListener('pointerdown', (event) => { touched++; show(); console.info('touched at ' + Math.round(event.clientX) + ' ' + Math.round(event.clientY)); });
addEventListener('keydown', (event) => { console.info('key ' + event.key); if (event.key === 'Enter') wz.exit(0, { touched: String(touched) }); });
show();
`,
};

/** One that moves all the time. */
export const kMoving = {
  'manifest.mft': manifestOf('moving'),
  'index.html': '<!doctype html><meta charset="utf-8"><body><script src="app.js"></script>',
  'app.js': `const bars = Array.from({ length: 12 }, (_, i) => { const bar = document.createElement('div');
  bar.style.cssText = 'position:absolute;left:0;height:50px;width:120px;background:hsl(' + i * 30 + ' 60% 45%);top:' + i * 64 + 'px'; document.body.append(bar); return bar; });
(function move(now) { bars.forEach((bar, i) => { bar.style.transform = 'translateX(' + (180 + 180 * Math.sin(now / 300 + i)) + 'px)'; }); requestAnimationFrame(move); })(0);
`,
};

/** One that talks without an end, a message and a line each time, and is answered. */
export const chatterEvery = (milliseconds) => ({
  'manifest.mft': manifestOf('chatter'),
  'index.html': '<!doctype html><meta charset="utf-8"><p id="n">0</p><script src="app.js"></script>',
  'app.js': `let n = 0;
setInterval(async () => { n++; document.getElementById('n').textContent = n; console.info('line ' + n);
  try { await wz.notifyAndWait('till', 'PAY', { n, text: 'x'.repeat(200) }, { replyName: 'R' + n, timeout: 3000 }); } catch (error) { console.warn(String(error)); } }, ${milliseconds});
`,
  'host.json': JSON.stringify({ address: 'till', rules: [{ name: 'PAY', reply: { paid: true, n: '{{n}}' }, replyName: 'R{{n}}' }] }),
});
export const kChatter = chatterEvery(20);

/** One that asks a till that its folder's host.json plays. */
export const kTill = {
  'manifest.mft': manifestOf('counter-till'),
  'index.html': '<!doctype html><meta charset="utf-8"><h1>Till</h1><button id="pay" style="font-size:40px">Pay</button><p id="said"></p><script src="app.js"></script>',
  'app.js': `document.getElementById('pay').addEventListener('click', async () => {
  try { const reply = await wz.notifyAndWait('till', 'PAY', { amount: 1250 }, { timeout: 4000 }); console.info('paid: ' + reply.paid); }
  catch (error) { console.error('not paid: ' + error.code); } });
`,
  'host.json': JSON.stringify({ address: 'till', rules: [{ name: 'PAY', delay: 20, reply: { paid: true } }] }),
};
