// The local service, with a store of its own, and requests as a client that is not a browser sends them.

import { execFileSync, spawn } from "node:child_process";
import { once } from "node:events";
import { mkdtempSync, rmSync } from "node:fs";
import { request as httpRequest } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";

const container = "SM2_DEMO";
const base64 = (text) => Buffer.from(text).toString("base64");
const json = (fields) => JSON.stringify(fields);

/** A request for each path and format. Each shows in the trace; the first also costs a try of the PIN. */
export const requests = [
  {
    name: "Login",
    path: "/",
    type: "application/json",
    body: json({ funcid: 7, UserName: container, PassWd: base64("wrong PIN") }),
  },
  {
    name: "Config",
    path: "/",
    type: "application/octet-stream",
    body: "\x77\x2b" + "\x01\0\0\0" + "\x04\0\0\0" + "\x07\0\0\0",
  },
  {
    name: "module CreateFile",
    path: "/token",
    type: "application/json",
    body: json({ funcid: 3, container: base64(container), name: base64("file"), size: 16 }),
  },
  { name: "TimeStamp", path: "/tsa", type: "application/timestamp-query", body: "no query" },
];

/** Starts the service on this port. */
export async function startLocalService(program, port) {
  const folder = mkdtempSync(join(tmpdir(), "velm-browser-"));
  const store = ["--data", join(folder, "store.db")];
  execFileSync(program, ["init", "--demo", ...store]);
  const child = spawn(program, ["serve", ...store, "--port", String(port)],
    { stdio: ["ignore", "pipe", "inherit"] });
  await once(child.stdout, "data");
  return new LocalService(port, child, folder);
}

class LocalService {
  constructor(port, child, folder) {
    Object.assign(this, { port, child, folder });
  }

  async stop() {
    const ended = once(this.child, "exit");
    this.child.kill();
    await ended;
    rmSync(this.folder, { recursive: true });
  }

  /** Returns status and body of the answer. */
  send({ path, type, body }, method = "POST") {
    return new Promise((resolve, reject) => {
      const headers = type ? { "Content-Type": type } : {};
      const request = httpRequest({ host: "127.0.0.1", port: this.port, path, method, headers }, (answer) => {
        const parts = [];
        answer.on("data", (part) => parts.push(part));
        answer.on("end", () => resolve({ status: answer.statusCode, body: Buffer.concat(parts).toString() }));
      });
      request.on("error", reject);
      request.end(body);
    });
  }

  /** The names of the functions in the trace. */
  async executed() {
    const { status, body } = await this.send({ path: "/trace" }, "GET");
    if (status !== 200) throw new Error(`the trace has status ${status}`);
    return body.split("\n").filter(Boolean).map((line) => line.match(/^\S+ \S+ +(.+?) +0x/)[1]);
  }

  async pinRetries() {
    const body = json({ funcid: 8, ContainerName: container });
    const answer = JSON.parse((await this.send({ path: "/", type: "application/json", body })).body);
    return Number(answer.Result.RetryCount);
  }
}
