// What plcsim refuses, as the client understands it. A client of its own for each case: this one
// keeps listening for the answer to a request that was refused.
'use strict';

const assert = require('assert');
const { runCases } = require('./cases');
const { connect, read, SLOT_0 } = require('./client');
const { Simulator } = require('./simulator');

const kTags = `
[[tag]]
name = 'Level'
type = 'INT'
value = 3
[[tag]]
name = 'Locked'
type = 'DINT'
read_only = true
[[tag]]
name = 'Short'
type = 'STRING'
max_length = 4
[[tag]]
name = 'Five'
type = 'DINT'
size = 5
value = [1, 2, 3, 4, 5]
`;

/** The statuses that the client rejects with. */
async function refusalOf(promise) {
  try {
    await promise;
  } catch ({ generalStatusCode, extendedStatus }) {
    return [generalStatusCode, ...extendedStatus];
  }
  return 'not refused';
}

async function refusalOfWrite(simulator, name, value, type = null) {
  const controller = await connect(simulator);
  const tag = await read(controller, name);
  if (type) tag.type = type;
  return refusalOf(controller.writeTag(tag, value));
}

async function main() {
  const simulator = await Simulator.start(kTags);
  await runCases({
    'a tag that does not exist': async () => {
      const controller = await connect(simulator);
      assert.deepStrictEqual(await refusalOf(read(controller, 'Nope')), [0x05]);
    },
    'a member of what is no structure': async () => {
      const controller = await connect(simulator);
      assert.deepStrictEqual(await refusalOf(read(controller, 'Level.Member')), [0x05]);
    },
    'more elements than there are, which the client takes for the end': async () => {
      const controller = await connect(simulator);
      const tag = await read(controller, 'Five', 7);
      assert.deepStrictEqual(tag.value, [1, 2, 3, 4, 5]);
    },
    'a write of another type': async () => {
      assert.deepStrictEqual(await refusalOfWrite(simulator, 'Level', 4, 'DINT'), [0xFF, 0x2107]);
      assert.strictEqual(await simulator.held('Level'), '3');
    },
    'a write to what is read-only': async () => {
      assert.deepStrictEqual(await refusalOfWrite(simulator, 'Locked', 4), [0x0F]);
    },
    'a text that is too long': async () => {
      assert.deepStrictEqual(await refusalOfWrite(simulator, 'Short', 'abcde'), [0x15]);
    },
    'a write of single bits, a service that only rack controllers have': async () => {
      const controller = await connect(simulator);
      const tag = await read(controller, 'Level.2');
      assert.deepStrictEqual(await refusalOf(controller.writeTag(tag, true)), [0x08]);
      assert.strictEqual(await simulator.held('Level'), '3');
    },
    'a connection by way of a backplane that is not there': async () => {
      const refused = await refusalOf(connect(simulator, { route: SLOT_0 }));
      assert.deepStrictEqual(refused, [0x01, 0x0311]);
    },
    'an unconnected read by way of a backplane that is not there': async () => {
      const controller = await connect(simulator, { connected: false, route: SLOT_0 });
      const status = await simulator.command('status');
      controller.timeout_sp = 300; // it waits for a Read Tag reply, which a refused send is not
      await assert.rejects(read(controller, 'Level'));
      const refusals = (text) => Number(/ refusals (\d+) /.exec(text)[1]);
      assert.strictEqual(refusals(await simulator.command('status')), refusals(status) + 1);
    },
    'a status that is ordered by fault': async () => {
      await simulator.command('fault status 0x0C 0x8001 Level times 1');
      const controller = await connect(simulator);
      assert.deepStrictEqual(await refusalOf(read(controller, 'Level')), [0x0C, 0x8001]);
    },
  });
}

main().catch((error) => {
  console.log(error);
  process.exit(1);
});
