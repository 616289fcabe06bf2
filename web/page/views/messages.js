// SPDX-License-Identifier: ISC
// Received messages and a form for new ones. Methods `sms_get`, `sms_clear`, `sms_send`.
import {ask, button, el, field, input, say, section, toggle} from '../dom.js';
import {csvOf, numbersOf} from '../state.js';
import {lacking} from '../text.js';

const ONE = 70, MOST = 80, NUMBERS = 5;
const SEEN = 3000;  // ms that a new message is looked at before it is no longer new

async function copy(text) {
	if (navigator.clipboard) return navigator.clipboard.writeText(text);
	// Without a secure origin there is only the older way.
	const area = el('textarea', {class: 'modem-unseen', 'aria-hidden': 'true'});
	area.value = text;
	document.body.append(area);
	area.select();
	document.execCommand('copy');
	area.remove();
}

function save(name, text) {
	const address = URL.createObjectURL(new Blob([text], {type: 'text/csv;charset=utf-8'}));
	el('a', {href: address, download: name}).click();
	setTimeout(() => URL.revokeObjectURL(address), 1000);
}

function createRow(words, message) {
	const note = el('span', {role: 'status'});
	const mark = el('em', {class: 'modem-new'}, words.isNew);
	const row = el('li', {class: 'modem-message'},
		el('p', {}, el('strong', {}, message.number), ' ', el('small', {}, `${message.timestamp} · ${message.id}`), ' ', mark),
		el('p', {class: 'modem-text'}, message.text),
		button(words.copy, async () => { await copy(message.text); say(note, words.copied); }), ' ', note);
	return {row, mark};
}

function createInbox({words, can, transport, dispatch, changed}) {
	const rows = new Map();
	const list = el('ol', {class: 'modem-messages', reversed: true});
	const search = input({type: 'search', oninput: () => show(shown)});
	const empty = el('p', {role: 'status'});
	const lost = el('p', {class: 'alert-message warning'});
	let shown;

	async function clear() {
		if (!await ask(words, words.clearQuestion, words.clear)) return;
		const {result} = await transport.daemon('sms_clear', {client: 'web'});
		if (result === 'ok') dispatch({type: 'messages', counter: 0, replies: [], lost: 0, at: Date.now()});
		changed();
	}

	function show(state) {
		shown = state;
		const wanted = search.value.toLowerCase();
		const keys = new Set(state.messages.map((message) => message.key));
		for (const [key, {row}] of rows) if (!keys.has(key)) { row.remove(); rows.delete(key); }
		let count = 0;
		for (const message of state.messages) {
			if (!rows.has(message.key)) {
				rows.set(message.key, createRow(words, message));
				list.prepend(rows.get(message.key).row);
			}
			const {row, mark} = rows.get(message.key);
			const isFound = `${message.number} ${message.text}`.toLowerCase().includes(wanted);
			toggle(row, isFound);
			toggle(mark, message.isNew);
			count += isFound;
		}
		say(empty, count > 0 ? '' : state.messages.length > 0 ? words.noneFound : words.noMessages);
		toggle(lost, state.lost > 0);
		say(lost, words.with('lost', state.lost));
	}

	const heads = [words.position, words.received_at, words.number, words.text];
	return {show, node: section(words.messages, field(words.search, search), lost, empty, list,
		el('p', {}, button(words.exportCsv, () => save('messages.csv', csvOf(shown.messages, heads))), ' ',
			can('sms_clear') ? button(words.clear, clear, 'cbi-button-negative') : null),
		el('p', {}, el('small', {}, words.ringNote)))};
}

// One call a number: five in one may take longer than the web server waits, and a repeat costs money.
function createForm({words, transport}) {
	const numbers = input({autocomplete: 'tel', inputmode: 'tel'});
	const text = el('textarea', {class: 'cbi-input-textarea', rows: 4, oninput: check});
	const count = el('small', {role: 'status'});
	const progress = el('div', {role: 'log', 'aria-label': words.sendTitle});
	const submit = button(words.send, send, 'cbi-button-apply');
	let isSending = false;

	function check() {
		const missing = lacking(text.value);
		const length = [...text.value].length;
		say(count, missing ? words.with('lacking', missing) : words.with('count', length, ONE, MOST));
		text.setAttribute('aria-invalid', String(missing !== '' || length > MOST));
		submit.disabled = isSending || missing !== '' || length === 0 || length > MOST;
	}

	async function sendOne(number, told) {
		say(told, `${number}: ${words.sending}`);
		try {
			const {result} = await transport.daemon('sms_send', {client: 'web', number, text: text.value});
			say(told, `${number}: ${result === 'ok' ? words.sent : result}`);
			return result === 'ok';
		} catch (error) {
			say(told, `${number}: ${error.kind === 'silent' ? words.unsure : words.failure(error)}`);
			return false;
		}
	}

	async function send() {
		const list = numbersOf(numbers.value);
		progress.replaceChildren();
		if (list.length > NUMBERS) return progress.append(words.tooMany);
		const lines = list.map((number) => el('div', {}, `${number}: ${words.queued}`));
		progress.append(...lines);
		isSending = true;
		text.readOnly = numbers.readOnly = true;
		check();
		const left = [];
		for (const [i, number] of list.entries()) if (!await sendOne(number, lines[i])) left.push(number);
		isSending = text.readOnly = numbers.readOnly = false;
		numbers.value = left.join('; ');
		if (left.length === 0 && list.length > 0) text.value = '';
		check();
	}

	check();
	return section(words.sendTitle, field(words.numbers, numbers, el('small', {}, words.numbersNote)),
		field(words.text, text, count), el('p', {}, submit), progress);
}

export function createView(app) {
	const inbox = app.can('sms_get') ? createInbox(app) : null;
	const node = el('div', {}, app.can('sms_send') ? createForm(app) : null, inbox?.node);
	let timer = 0;
	return {
		node,
		show(state) {
			inbox?.show(state);
			const isSeen = !node.hidden && !document.hidden && state.messages.some((message) => message.isNew);
			if (isSeen && timer === 0)
				timer = setTimeout(() => { timer = 0; if (!node.hidden && !document.hidden) app.dispatch({type: 'seen'}); }, SEEN);
		},
	};
}
