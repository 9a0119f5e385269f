// Requests to hmi-host: JSON answers, and the stream of events. The token came in the address' fragment, which no
// request shows; it stays with this tab.

const TOKEN = 'hmi-host-token';

// A request that was answered with an error: its status, or 0 when there was no answer.
export class RequestError extends Error {
  constructor(status, text) {
    super(text);
    this.status = status;
  }
}

// Takes the token out of the address, so that it is in no bookmark and no history.
export function takeToken() {
  const found = /^#token=(.+)$/.exec(location.hash);
  if (!found) return;
  setToken(decodeURIComponent(found[1]));
  history.replaceState(null, '', '#/points');
}

export function setToken(token) { sessionStorage.setItem(TOKEN, token); }

function headers(more = {}) {
  const token = sessionStorage.getItem(TOKEN);
  return token ? {...more, Authorization: `Bearer ${token}`} : more;
}

async function request(path, options) {
  let response;
  try {
    response = await fetch(path, {cache: 'no-store', credentials: 'omit', ...options});
  } catch (error) {
    if (error.name === 'AbortError') throw error;
    throw new RequestError(0, 'hmi-host does not answer');
  }
  if (response.ok) return response;
  const answer = await response.json().catch(() => ({}));
  throw new RequestError(response.status, answer.error || `hmi-host answered with status ${response.status}`);
}

export const get = async (path, signal) => (await request(path, {headers: headers(), signal})).json();
export const getBlob = async (path) => (await request(path, {headers: headers()})).blob();

export async function post(path, body) {
  const response = await request(path, {
    method: 'POST',
    headers: headers({'Content-Type': 'application/json', 'X-Requested-With': 'hmi-host'}),
    body: JSON.stringify(body),
  });
  return response.json();
}

// Reads the stream of events until it ends or the signal aborts it: onEvent(name, data) for each event, onSign() for
// whatever comes, a keep-alive line too.
export async function readEvents(path, signal, onEvent, onSign) {
  const response = await request(path, {headers: headers({Accept: 'text/event-stream'}), signal});
  const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = '';
  for (;;) {
    const {done, value} = await reader.read();
    if (done) return;
    onSign();
    const blocks = (rest + value).replaceAll('\r\n', '\n').split('\n\n');
    rest = blocks.pop();
    for (const block of blocks) {
      const field = (name) => block.split('\n')
                                  .filter((line) => line.startsWith(`${name}:`))
                                  .map((line) => line.slice(name.length + 1).replace(/^ /, ''))
                                  .join('\n');
      const data = field('data');
      if (data) onEvent(field('event') || 'message', JSON.parse(data));
    }
  }
}
