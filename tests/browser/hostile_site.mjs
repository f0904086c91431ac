// The web server of the hostile page.

import { readFile } from "node:fs/promises";
import { createServer } from "node:http";

const files = { "/": ["page.html", "text/html"], "/attempts.mjs": ["attempts.mjs", "text/javascript"] };

/** Starts a server on a free port of the loopback address. */
export async function startHostileSite() {
  const server = createServer(async (request, response) => {
    const [name, type] = files[request.url] ?? [];
    if (!name) return response.writeHead(404).end();
    response.writeHead(200, { "Content-Type": type });
    response.end(await readFile(new URL(name, import.meta.url)));
  });
  await new Promise((resolve) => server.listen(0, "127.0.0.1", resolve));
  return {
    port: server.address().port,
    /** Frees the port. */
    stop() {
      server.closeAllConnections();
      return new Promise((resolve) => server.close(resolve));
    },
  };
}
