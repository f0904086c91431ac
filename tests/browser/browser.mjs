// Chromium, and the hostile page in it under three origins.

import { existsSync } from "node:fs";

import { until } from "./until.mjs";

const launchTime = 20_000;

const anotherSite = "another-site.example";
const rebound = "rebound.example";

/**
 * Starts Chromium. Only the names of the hostile page resolve, so that Chromium reaches no network and waits
 * for none.
 */
export async function startBrowser(program, playwrightFolder) {
  if (!existsSync(program)) throw new Error(`${program} is missing; ./dev setup installs it`);
  const { chromium } = await import(`${playwrightFolder}/index.mjs`);
  const rules = [`MAP ${anotherSite} 127.0.0.1`, `MAP ${rebound} 127.0.0.1`, "MAP * ~NOTFOUND",
    "EXCLUDE 127.0.0.1"];
  return chromium.launch({
    executablePath: program,
    timeout: launchTime,
    args: ["--no-sandbox", `--host-resolver-rules=${rules.join(", ")}`],
  });
}

/**
 * The origins of the hostile page, and the address at which each finds the service. The last page comes from
 * the port that the service uses later: when its name is bound to another address, it keeps its origin.
 */
export function origins(sitePort, servicePort) {
  const service = `http://127.0.0.1:${servicePort}`;
  const reboundOrigin = `http://${rebound}:${servicePort}`;
  return [
    { name: "another site", origin: `http://${anotherSite}:${sitePort}`, target: service },
    { name: "another port", origin: `http://127.0.0.1:${sitePort}`, target: service },
    { name: "rebound name", origin: reboundOrigin, target: reboundOrigin },
  ];
}

/** The hostile page under one origin, and what the browser reports of its attempts. */
export class HostilePage {
  /** The status of the answer to each attempt; null if the browser accepted no answer. */
  statuses = new Map();
  #pending = new Set();

  static async open(browser, { name, origin, target }) {
    const page = new HostilePage();
    page.name = name;
    page.target = target;
    page.context = await browser.newContext();
    page.#watch();
    page.tab = await page.context.newPage();
    page.tab.on("websocket", (socket) => page.#note(socket.url(), null));
    await page.tab.goto(origin);
    await page.tab.waitForFunction(() => globalThis.attack !== undefined);
    return page;
  }

  #watch() {
    this.context.on("request", (request) => {
      this.#note(request.url(), null);
      this.#pending.add(request);
    });
    this.context.on("response", (response) => this.#note(response.url(), response.status()));
    for (const end of ["requestfinished", "requestfailed"])
      this.context.on(end, (request) => this.#pending.delete(request));
  }

  #note(url, status) {
    const attempt = new URL(url).searchParams.get("attempt");
    if (attempt) this.statuses.set(attempt, status); // not the icon of a page
  }

  /** Makes all attempts and returns what the page could read by the name of the attempt. */
  async attack(requests, milliseconds) {
    const read = await this.tab.evaluate(([...given]) => globalThis.attack(...given),
      [this.name, this.target, requests, milliseconds]);
    await until(() => this.#pending.size === 0, `the requests of ${this.name} end`);
    return read;
  }

  close() {
    return this.context.close();
  }
}
