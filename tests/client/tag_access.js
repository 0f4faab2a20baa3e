// Reads and writes of every type that the client knows, compared with what plcsim says it holds.
//   node tag_access.js connected|unconnected straight|slot0
'use strict';

const assert = require('assert');
const { runCases } = require('./cases');
const { connect, read, Tag, TagGroup, STRAIGHT, SLOT_0 } = require('./client');
const { Simulator } = require('./simulator');

const kBitsOfDword = 32;

function bitsOf(dword) {
  return Array.from({ length: kBitsOfDword }, (_, bit) => (dword >>> bit & 1) === 1);
}

// Of each type: how plcsim's text becomes the client's value, what the tags begin with, as a tag
// file writes it, and what the client writes.
//   arrays   whether the client reads and writes several elements at once
//   writes   whether the client can write the type at all
const kTypes = [
  { type: 'BOOL', parse: (text) => text === '1', arrays: false,
    start: ['true', 'false', 'false', 'true'], written: [false, true, true, false] },
  { type: 'SINT', parse: Number,
    start: ['-128', '-1', '1', '127'], written: [127, 0, -128, -77] },
  { type: 'USINT', parse: Number,
    start: ['255', '128', '0', '1'], written: [1, 254, 127, 128] },
  { type: 'INT', parse: Number,
    start: ['-32768', '-1', '256', '32767'], written: [32767, 0, -32768, -12345] },
  { type: 'UINT', parse: Number, writes: false,
    start: ['65535', '32768', '256', '1'], written: [1, 2, 258, 65534] },
  { type: 'DINT', parse: Number,
    start: ['-2147483648', '-1', '65536', '2147483647'],
    written: [2147483647, 0, -2147483648, 16909060] },
  { type: 'LINT', parse: BigInt,
    start: ['-9223372036854775808', '-1', '4294967296', '9223372036854775807'],
    written: [9223372036854775807n, 0n, -9223372036854775808n, 72623859790382856n] },
  { type: 'REAL', parse: (text) => Math.fround(Number(text)),
    start: ['-0.1', '0.0', '3e38', '123456.789'],
    written: [0.5, Math.fround(3.14), -0, Math.fround(1e-40)] },
  { type: 'DWORD', parse: (text) => bitsOf(Number(text.replace('16#', '0x'))), bits: true,
    start: ['0x80000001', '0', '0xFFFFFFFF', '0x01020304'],
    written: [0x00000001, 0xA5A5A5A5, 0, 0x7FFFFFFF].map(bitsOf) },
  { type: 'STRING', parse: JSON.parse, arrays: false,
    start: ['"a text"', '""', '"x"', '"sixty characters, more or less, to fill some of the room"'],
    written: ['longer than it was before', '', 'y', 'z'] },
];

const kLongSize = 400; // DINTs: far more than one packet holds

function tagFile() {
  let text = "[controller]\nname = 'Independent'\nserial = 0x01020304\nrevision = '6.11'\n";
  for (const { type, start } of kTypes) {
    text += `[[tag]]\nname = 'One_${type}'\ntype = '${type}'\nvalue = ${start[0]}\n`;
    text += `[[tag]]\nname = 'Many_${type}'\ntype = '${type}'\nsize = ${start.length}\n`;
    text += `value = [${start.join(', ')}]\n`;
  }
  const counted = Array.from({ length: kLongSize }, (_, i) => i * 1001);
  return `${text}[[tag]]\nname = 'Long'\ntype = 'DINT'\nsize = ${kLongSize}\n`
    + `value = [${counted.join(', ')}]\n`;
}

/** What plcsim holds, as values of the client's kind. */
async function held(simulator, row, reference) {
  const text = await simulator.held(reference);
  const words = row.type === 'STRING' ? [text] : text.split(' ');
  const values = words.map(row.parse);
  return row.bits ? values.flat() : values;
}

/** The client gives a single value bare, and bits always as a list. */
function asClient(row, values) {
  return values.length === 1 && !row.bits ? values[0] : values;
}

async function readsWhatIsHeld(simulator, controller, row) {
  const references = [`One_${row.type}`, ...row.start.map((_, i) => `Many_${row.type}[${i}]`)];
  for (const reference of references) {
    const tag = await read(controller, reference);
    const expected = asClient(row, await held(simulator, row, reference));
    assert.deepStrictEqual(tag.value, expected, reference);
  }
  if (row.arrays === false) return;
  const all = `Many_${row.type}`;
  const tag = await read(controller, all, row.start.length);
  assert.deepStrictEqual(tag.value, await held(simulator, row, all), all);
}

async function holdsWhatIsWritten(simulator, controller, row) {
  for (let i = 0; i < row.written.length; ++i) {
    const reference = `Many_${row.type}[${i}]`;
    const tag = await read(controller, reference);
    await controller.writeTag(tag, row.written[i]);
    const expected = row.bits ? row.written[i] : [row.written[i]];
    assert.deepStrictEqual(await held(simulator, row, reference), expected, reference);
  }
  if (row.arrays === false) return;
  const all = `Many_${row.type}`;
  const tag = await read(controller, all, row.start.length);
  const reversed = [...row.written].reverse();
  await controller.writeTag(tag, reversed.flat());
  assert.deepStrictEqual(await held(simulator, row, all), reversed.flat(), all);
}

/** plcsim writes, the client reads: for what the client cannot write. */
async function seesWhatIsSet(simulator, controller, row) {
  const all = `Many_${row.type}`;
  await simulator.command(`set ${all}[0..${row.written.length - 1}] ${row.written.join(' ')}`);
  const tag = await read(controller, all, row.written.length);
  assert.deepStrictEqual(tag.value, row.written);
}

async function readsAGroup(simulator, controller) {
  const group = new TagGroup();
  const tags = kTypes.map(({ type }) => new Tag(`One_${type}`));
  tags.forEach((tag) => group.add(tag));
  await controller.readTagGroup(group);
  for (let i = 0; i < kTypes.length; ++i) {
    const expected = asClient(kTypes[i], await held(simulator, kTypes[i], tags[i].name));
    assert.deepStrictEqual(tags[i].value, expected, tags[i].name);
  }
}

async function writesAGroup(simulator, controller) {
  const rows = kTypes.filter(({ writes, bits }) => writes !== false && !bits);
  const group = new TagGroup();
  const tags = rows.map(({ type }) => new Tag(`One_${type}`));
  tags.forEach((tag) => group.add(tag));
  await controller.readTagGroup(group);
  rows.forEach((row, i) => { [tags[i].value] = row.written; });
  await controller.writeTagGroup(group);
  for (let i = 0; i < rows.length; ++i) {
    const values = await held(simulator, rows[i], tags[i].name);
    assert.deepStrictEqual(values, [rows[i].written[0]], tags[i].name);
  }
}

async function readsAndWritesInFragments(simulator, controller) {
  const row = kTypes.find(({ type }) => type === 'DINT');
  const tag = await read(controller, 'Long', kLongSize);
  assert.strictEqual(tag.value.length, kLongSize);
  assert.deepStrictEqual(tag.value, await held(simulator, row, 'Long'));
  const negated = tag.value.map((value) => -value - 1);
  tag.value = negated;
  await controller.writeTag(tag);
  assert.deepStrictEqual(await held(simulator, row, 'Long'), negated);
}

async function readsTheBitsOfAnInteger(simulator, controller) {
  await simulator.command('set One_INT 5');
  for (const [bit, expected] of [[0, true], [1, false], [2, true], [3, false]])
    assert.strictEqual((await read(controller, `One_INT.${bit}`)).value, expected, `bit ${bit}`);
}

async function readsTheIdentity(simulator, controller) {
  await controller.readControllerProps();
  const { name, serial_number: serial, version } = controller.properties;
  assert.deepStrictEqual({ name, serial, version },
    { name: 'Independent', serial: 0x01020304, version: '6.11' });
}

async function leavesNothingBehind(simulator, controller) {
  await controller.disconnect();
  for (let i = 0; i < 100; ++i) {
    if ((await simulator.command('status')).includes(' links 0 sessions 0 connections 0 ')) return;
    await new Promise((resolve) => { setTimeout(resolve, 20); });
  }
  assert.fail(await simulator.command('status'));
}

async function main([messaging, way]) {
  const connected = messaging === 'connected';
  const slot0 = way === 'slot0';
  const simulator = await Simulator.start(tagFile(), slot0 ? ['--accept-backplane-path'] : []);
  const controller = await connect(simulator, { connected, route: slot0 ? SLOT_0 : STRAIGHT });
  const status = await simulator.command('status');
  assert(status.includes(` connections ${connected ? 1 : 0} `), status);

  const cases = {};
  for (const row of kTypes) {
    cases[`reads ${row.type}`] = () => readsWhatIsHeld(simulator, controller, row);
    if (row.writes === false)
      cases[`sees ${row.type} change`] = () => seesWhatIsSet(simulator, controller, row);
    else
      cases[`writes ${row.type}`] = () => holdsWhatIsWritten(simulator, controller, row);
    cases[`reads ${row.type} again`] = () => readsWhatIsHeld(simulator, controller, row);
  }
  const whole = {
    readsAGroup, writesAGroup, readsAndWritesInFragments, readsTheBitsOfAnInteger,
    readsTheIdentity, leavesNothingBehind,
  };
  for (const [name, run] of Object.entries(whole)) cases[name] = () => run(simulator, controller);
  await runCases(cases);
}

main(process.argv.slice(2)).catch((error) => {
  console.log(error);
  process.exit(1);
});
