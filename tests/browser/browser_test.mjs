// Tests that no page in a real browser can use the local service or read its answers.

import assert from "node:assert/strict";
import { after, before, describe, it } from "node:test";

import { HostilePage, origins, startBrowser } from "./browser.mjs";
import { startHostileSite } from "./hostile_site.mjs";
import { requests, startLocalService } from "./local_service.mjs";
import { secret, startPermissiveService } from "./permissive_service.mjs";
import { until } from "./until.mjs";

const { VELM_CHROMIUM, VELM_PLAYWRIGHT, VELM_SOFTTOKEN } = process.env;
// How long a page waits for an answer that it should be able to read, and for one that it should not.
const patience = 15_000;
const observation = 2_000;

// A browser that hangs must not leave the test without a message.
const wholeTime = 50_000;
setTimeout(() => {
  console.error(`browser_test: not finished after ${wholeTime / 1000} s; does Chromium hang?`);
  process.exit(1);
}, wholeTime).unref();

const missing = (read, found) => Object.keys(read).filter((attempt) => !found.has(attempt));

/**
 * Opens the hostile page under each origin, starts the service on the port from which the last page came, and
 * lets all pages attack it. `check` gets the service, what the pages read, and the statuses that they met.
 */
async function attack(browser, startService, milliseconds, check) {
  const site = await startHostileSite();
  const formerSite = await startHostileSite();
  const open = origins(site.port, formerSite.port).map((origin) => HostilePage.open(browser, origin));
  const pages = await Promise.all(open);
  await formerSite.stop();
  const service = await startService(formerSite.port);
  try {
    const attacks = await Promise.all(pages.map((page) => page.attack(requests, milliseconds)));
    await check(service, Object.assign({}, ...attacks), new Map(pages.flatMap((page) => [...page.statuses])));
  } finally {
    await Promise.all(pages.map((page) => page.close()));
    await Promise.all([site, service].map((server) => server.stop()));
  }
}

describe("a hostile page in a browser", () => {
  let browser;

  before(async () => {
    browser = await startBrowser(VELM_CHROMIUM, VELM_PLAYWRIGHT);
  });

  after(async () => {
    await browser?.close();
  });

  it("reaches a permissive service with every attempt, and reads its answers", async () => {
    await attack(browser, startPermissiveService, patience, async ({ executed }, read, statuses) => {
      await until(() => missing(read, executed).length === 0, "every attempt is executed");
      assert.deepEqual(missing(read, statuses), [], "every attempt is reported");
      // No page reads an answer to a beacon, nor from another origin without CORS.
      const unreadable = /: beacon|^another .*: (fetch|get with fetch) no-cors/;
      for (const [attempt, text] of Object.entries(read))
        assert.equal(text, unreadable.test(attempt) ? "" : secret, attempt);
    });
  });

  it("cannot use the local service, while a client that is no browser can", async () => {
    const start = (port) => startLocalService(VELM_SOFTTOKEN, port);
    await attack(browser, start, observation, async (service, read, statuses) => {
      assert.deepEqual(missing(read, statuses), [], "every attempt is made");
      for (const [attempt, text] of Object.entries(read)) assert.equal(text, "", attempt);
      const met = [...statuses].filter(([, status]) => status !== null && status !== 403);
      assert.deepEqual(met, [], "every answer is a refusal");
      assert.deepEqual(await service.executed(), [], "nothing was executed");

      const retries = await service.pinRetries();
      assert.equal(retries, 10, "no attempt cost a try of the PIN");
      for (const request of requests) await service.send(request);
      assert.equal(await service.pinRetries(), retries - 1);
      assert.deepEqual(await service.executed(),
        ["GetPinRetryCount", ...requests.map(({ name }) => name), "GetPinRetryCount"]);

      const visit = await browser.newPage();
      const answer = await visit.goto(`http://127.0.0.1:${service.port}/trace`);
      assert.match(await answer.text(), /Login/, "the user may read the trace in a browser");
    });
  });
});
