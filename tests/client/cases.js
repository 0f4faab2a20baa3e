// Runs named cases one after the other and ends the process: 0 when all of them passed.
'use strict';

const kLongest = 10000; // milliseconds of one case

function withinTime(promise) {
  return Promise.race([promise, new Promise((_, reject) => {
    setTimeout(() => reject(new Error(`took longer than ${kLongest} ms`)), kLongest);
  })]);
}

async function runCases(cases) {
  let failed = 0;
  for (const [name, run] of Object.entries(cases)) {
    try {
      await withinTime(run());
      console.log(`ok      ${name}`);
    } catch (error) {
      ++failed;
      console.log(`FAILED  ${name}`);
      console.log(error instanceof Error ? error.stack : error);
    }
  }
  console.log(`${Object.keys(cases).length - failed} of ${Object.keys(cases).length} cases passed`);
  // The client leaves the timers of its time-outs running.
  process.exit(failed === 0 ? 0 : 1);
}

module.exports = { runCases };
