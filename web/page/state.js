// SPDX-License-Identifier: ISC
// The page's one state: pure functions from a state and an event to the next one. Times are ms.
export const HISTORY = 10 * 60 * 1000;
export const SIGNALS = {
	'2g/GSM': ['rssi'],
	'3g/WCDMA': ['rssi', 'rscp', 'ecio'],
	'4g/LTE': ['rssi', 'rsrp', 'rsrq', 'sinr'],
};

export const initial = {
	status: null,      // the last reply of `get`
	link: 'waiting',   // waiting, good, or the kind of the last failure
	askedAt: 0,        // since when the present call waits; 0: none does
	initSince: 0,      // when this initialisation was first seen; 0: none runs
	samples: [],       // {at, type, rssi, ...} of the last ten minutes
	messages: [],      // {key, id, number, timestamp, text, isNew}, oldest first
	position: 0,       // ring position of the newest message that was read
	isCounted: false,  // the ring was looked at once
	lost: 0,           // places of the ring that went by unread
};

const sampleOf = ({network}, at) => ({at, type: network.type,
	...Object.fromEntries((SIGNALS[network.type] ?? []).map((name) => [name, Number(network[name])]))});

function takeStatus(state, {reply, at}) {
	const info = reply.info;
	const samples = state.samples.filter((sample) => sample.at > at - HISTORY);
	const isInit = info.kelvantorium.state === 'init';
	return {...state, status: reply, link: 'good', askedAt: 0,
		initSince: isInit ? state.initSince || at : 0,
		samples: [...samples, sampleOf(info, at)]};
}

const merge = (old, change) => typeof change === 'string' ? change : {...old,
	...Object.fromEntries(Object.entries(change).map(([name, part]) => [name, merge(old?.[name], part)]))};

// Positions of the ring to be read when the counter shows `counter`, and how many went by unread:
// after 32 comes 1, and then only those up to the counter can be read.
export function unread(state, counter, size = 32) {
	const upTo = (first) => Array.from({length: Math.max(0, counter - first + 1)}, (_, i) => first + i);
	if (counter >= state.position) return {ids: upTo(state.position + 1), lost: 0};
	return {ids: upTo(1), lost: counter === 0 || !state.isCounted ? 0 : size - state.position};
}

function takeMessages(state, {counter, replies, lost, at}) {
	const read = replies.filter((reply) => reply.result === 'ok')
		.map((reply, i) => ({...reply, key: `${at}-${i}`, isNew: state.isCounted}));
	const kept = counter === 0 ? [] : state.messages;
	return {...state, messages: [...kept, ...read], position: counter, isCounted: true,
		lost: counter === 0 ? 0 : state.lost + lost};
}

const reducers = {
	asked: (state, {at}) => ({...state, askedAt: at}),
	status: takeStatus,
	changed: (state, {change, at}) => ({...takeStatus(state, {reply: merge(state.status, change), at}), askedAt: state.askedAt}),
	failed: (state, {kind}) => ({...state, link: kind, askedAt: 0}),
	messages: takeMessages,
	seen: (state) => ({...state,
		messages: state.messages.map((message) => ({...message, isNew: false}))}),
};

export const reduce = (state, event) => reducers[event.type](state, event);

export function createStore() {
	const watchers = new Set();
	let state = initial;
	return {
		get state() { return state; },
		dispatch(event) {
			state = reduce(state, event);
			for (const watcher of watchers) watcher(state);
		},
		watch(watcher) {
			watchers.add(watcher);
			watcher(state);
		},
	};
}

// Degrees of the receiver's ddmm.mmmm.
export function degrees(text, half) {
	const number = Number(text);
	const whole = Math.trunc(number / 100);
	const value = whole + (number - whole * 100) / 60;
	return half === 'south' || half === 'west' ? -value : value;
}

export const numbersOf = (text) => text.split(/[;,\n]/).map((number) => number.trim()).filter(Boolean);

// One row a message, RFC 4180, for a spreadsheet: a cell never begins like a formula.
export function csvOf(messages, heads) {
	const cell = (text) => `"${(/^[=+\-@\t\r]/.test(text) ? `'${text}` : text).replaceAll('"', '""')}"`;
	const rows = messages.map(({id, number, timestamp, text}) => [id, timestamp, number, text]);
	return '\uFEFF' + [heads, ...rows].map((row) => row.map(cell).join(',') + '\r\n').join('');
}
