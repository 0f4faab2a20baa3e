// The independent client, told the port that the simulator was given.
'use strict';

const { Controller, Tag, TagGroup } = require('st-ethernet-ip');
const config = require('st-ethernet-ip/dist/config');

const STRAIGHT = Buffer.alloc(0); // a path that leads nowhere but to the controller itself
const SLOT_0 = 0; // by way of a backplane, as to a controller in a rack

/** A controller of the client's, connected. */
async function connect(simulator, { connected = true, route = STRAIGHT } = {}) {
  config.EIP_PORT = simulator.port;
  const controller = new Controller(connected);
  controller.timeout_sp = 3000;
  const askForTagList = false; // only rack controllers have one
  await controller.connect('127.0.0.1', route, askForTagList);
  return controller;
}

/** Reads as many elements of a tag. */
async function read(controller, name, size = 1) {
  const tag = new Tag(name);
  await controller.readTag(tag, size);
  return tag;
}

module.exports = { connect, read, Tag, TagGroup, STRAIGHT, SLOT_0 };
