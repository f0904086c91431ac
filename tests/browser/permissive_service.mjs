// A double of the local service that answers every request, lets every page read the answer, and sends what
// the way of the request can read best. It shows that each attempt of the hostile page is a real one.

import { createHash } from "node:crypto";
import { createServer } from "node:http";

/** What every answer contains. An image has it as its width. */
export const secret = "4217";

const answers = {
  text: () => ["text/plain", secret],
  document: (attempt) => ["text/html", `<!doctype html><script>(opener ?? parent).postMessage(
    ${JSON.stringify({ attempt, text: secret })}, "*")</script>`],
  script: (attempt) => ["text/javascript", `postMessage(${JSON.stringify({ attempt, text: secret })}, "*")`],
  style: () => ["text/css", `body { --answer: ${secret} }`],
  image: () => ["image/svg+xml", `<svg xmlns="http://www.w3.org/2000/svg" width="${secret}" height="1"/>`],
  events: () => ["text/event-stream", `data: ${secret}\n\n`],
};

function question(request) {
  return Object.fromEntries(new URL(request.url, "http://127.0.0.1").searchParams);
}

// RFC 6455 sections 1.3 and 5.2: a handshake and one text frame.
function answerSocket(request, socket) {
  const key = `${request.headers["sec-websocket-key"]}258EAFA5-E914-47DA-95CA-C5AB0DC85B11`;
  socket.write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n" +
    `Sec-WebSocket-Accept: ${createHash("sha1").update(key).digest("base64")}\r\n\r\n`);
  socket.end(Buffer.concat([Buffer.from([0x81, secret.length]), Buffer.from(secret)]));
}

/** Starts the double. `executed` are the attempts that reached it. */
export async function startPermissiveService(port) {
  const executed = new Set();
  const server = createServer((request, response) => {
    const { attempt, kind } = question(request);
    response.setHeader("Access-Control-Allow-Origin", request.headers.origin ?? "*");
    response.setHeader("Access-Control-Allow-Credentials", "true");
    response.setHeader("Access-Control-Allow-Headers", "Content-Type");
    request.resume();
    if (request.method === "OPTIONS") return response.writeHead(204).end();
    if (attempt) executed.add(attempt); // not the icon of a page
    const [type, body] = (answers[kind] ?? answers.text)(attempt);
    response.writeHead(200, { "Content-Type": type, "Connection": "close" });
    response.end(body);
  });
  server.on("upgrade", (request, socket) => {
    executed.add(question(request).attempt);
    answerSocket(request, socket);
  });
  await new Promise((resolve, reject) => server.on("error", reject).listen(port, "127.0.0.1", resolve));
  return {
    executed,
    stop() {
      server.closeAllConnections();
      return new Promise((resolve) => server.close(resolve));
    },
  };
}
