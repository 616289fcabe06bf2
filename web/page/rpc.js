// SPDX-License-Identifier: ISC
// JSON-RPC with the router: one session, one POST a call or a batch.
import * as cp1251 from './text.js';

const OBJECT = 'kelvantorium';
const PATIENCE = 75000;  // ms; the web server itself gives a call up after 60 s
const utf8 = {
	encode: (text) => new TextEncoder().encode(text),
	decode: (buffer) => new TextDecoder().decode(buffer),
};

// What went wrong, for the page: `kind` is offline, expired, denied, silent, absent or failed.
export class RpcError extends Error {
	constructor(kind, detail = '') {
		super(detail ? `${kind}: ${detail}` : kind);
		this.kind = kind;
	}
}

// Error codes of the server and status codes of the bus.
const KINDS = new Map([[-32000, 'absent'], [-32001, 'expired'], [-32002, 'denied'],
	[-32003, 'silent'], [4, 'absent'], [6, 'denied'], [7, 'silent']]);

function replyOf(answer) {
	if (answer?.error) throw new RpcError(KINDS.get(answer.error.code) ?? 'failed', answer.error.message);
	const [status, reply] = answer?.result ?? [9];
	if (status !== 0) throw new RpcError(KINDS.get(status) ?? 'failed', `status ${status}`);
	return reply ?? {};
}

export function createTransport({address, session, fetch = (...args) => globalThis.fetch(...args)}) {
	let lastId = 0;

	async function post(requests, codec) {
		let buffer;
		try {
			const response = await fetch(address, {
				method: 'POST',
				headers: {'Content-Type': 'application/json'},
				body: codec.encode(JSON.stringify(requests)),
				signal: AbortSignal.timeout(PATIENCE),
			});
			if (!response.ok) throw new RpcError('offline', `HTTP ${response.status}`);
			buffer = await response.arrayBuffer();
		} catch (error) {
			if (error instanceof RpcError || error instanceof RangeError) throw error;
			throw new RpcError(error.name === 'TimeoutError' ? 'silent' : 'offline', error.message);
		}
		try {
			return JSON.parse(codec.decode(buffer));
		} catch (error) {
			throw new RpcError('failed', error.message);
		}
	}

	function request(object, method, args) {
		return {jsonrpc: '2.0', id: ++lastId, method: 'call',
			params: [session(), object, method, args]};
	}

	// The server tells a session that is over and a right that is missing in one way.
	async function explain(error) {
		if (error.kind !== 'denied') return error;
		try {
			await raw('session', 'access', {ubus_rpc_session: session()});
			return error;
		} catch (again) {
			return new RpcError(again.kind === 'offline' ? 'offline' : 'expired');
		}
	}

	async function raw(object, method, args) {
		return replyOf(await post(request(object, method, args), object === OBJECT ? cp1251 : utf8));
	}

	return {
		// A call to any object; the daemon's texts are CP1251, all others' UTF-8.
		async call(object, method, args = {}) {
			try {
				return await raw(object, method, args);
			} catch (error) {
				throw error instanceof RpcError ? await explain(error) : error;
			}
		},
		// Calls of one method of the daemon.
		async batch(method, list) {
			if (list.length === 0) return [];
			const answers = await post(list.map((args) => request(OBJECT, method, args)), cp1251);
			try {
				return answers.map(replyOf);
			} catch (error) {
				throw await explain(error);
			}
		},
		daemon(method, args = {}) {
			return this.call(OBJECT, method, args);
		},
		// Gives `take` the changes of the status, from `opened` on, until the stream ends.
		async listen(take, opened, signal) {
			const {ok, body} = await fetch(`${address.replace(/\/$/, '')}/subscribe/${OBJECT}`,
				{headers: {Authorization: `Bearer ${session()}`}, signal});
			if (!ok) return;
			opened();
			const reader = body.getReader();
			for (let text = '', part; !(part = await reader.read()).done;) {
				const events = (text + cp1251.decode(part.value)).split('\n\n');
				text = events.pop();
				for (const event of events) {
					const [head, data] = event.split('\ndata: ');
					if (head === 'event: status') take(JSON.parse(data));
				}
			}
		},
		// A new session, as the server describes it; `denied` for a wrong name or password.
		login: (username, password) => raw('session', 'login', {username, password}),
		rights: () => raw('session', 'access', {ubus_rpc_session: session()}),
		logout: () => raw('session', 'destroy', {ubus_rpc_session: session()}).catch(() => {}),
	};
}

export function methodsOf(description) {
	const ubus = (description.acls ?? description).ubus ?? {};
	return new Set([...(ubus[OBJECT] ?? []), ...(ubus['*'] ?? [])]);
}
