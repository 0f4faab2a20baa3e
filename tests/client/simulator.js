// A plcsim of its own process, and what it holds of its tags by its own account.
'use strict';

const { spawn } = require('child_process');
const fs = require('fs');
const os = require('os');
const path = require('path');
const readline = require('readline');

class Simulator {
  /** Starts plcsim with a tag file of this text, on a free port. */
  static async start(tags, options = []) {
    const directory = fs.mkdtempSync(path.join(os.tmpdir(), 'plcsim_'));
    const file = path.join(directory, 'tags.toml');
    fs.writeFileSync(file, tags);
    const simulator = new Simulator(file, options);
    const ready = await simulator.nextLine();
    fs.rmSync(directory, { recursive: true });
    const found = /^plcsim: listening on 127\.0\.0\.1:(\d+)$/.exec(ready);
    if (!found) throw new Error(`plcsim did not start: ${ready}`);
    simulator.port = Number(found[1]);
    return simulator;
  }

  constructor(file, options) {
    const fixed = ['--tags', file, '--listen', '127.0.0.1:0', '--response-time', '0'];
    this.process = spawn(process.env.PLCSIM, fixed.concat(options),
      { stdio: ['pipe', 'pipe', 'inherit'] });
    process.on('exit', () => this.stop());
    const lines = readline.createInterface({ input: this.process.stdout });
    this.lines = lines[Symbol.asyncIterator]();
  }

  async nextLine() {
    const { value, done } = await this.lines.next();
    return done ? '(it ended)' : value;
  }

  async command(text) {
    this.process.stdin.write(`${text}\n`);
    return this.nextLine();
  }

  /** The values of a tag or a part of it, as the simulator writes them. */
  async held(reference) {
    const answer = await this.command(`get ${reference}`);
    const expected = `get ${reference} = `;
    if (!answer.startsWith(expected)) throw new Error(`plcsim: ${answer}`);
    return answer.slice(expected.length);
  }

  stop() {
    this.process.kill();
  }
}

module.exports = { Simulator };
