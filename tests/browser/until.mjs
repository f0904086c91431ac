// Waits for what another process does.

import { setTimeout as sleep } from "node:timers/promises";

const patience = 10_000;

/** Returns when the condition holds; throws if it does not hold in time. */
export async function until(condition, what) {
  const end = Date.now() + patience;
  while (!condition()) {
    if (Date.now() > end) throw new Error(`waited ${patience / 1000} s in vain until ${what}`);
    await sleep(20);
  }
}
