// SPDX-License-Identifier: ISC
// USSD requests. Method `ussd_send`; the answer comes with the status.
import {button, el, facts, field, input, memory, say, section, toggle} from '../dom.js';

const CAP = 31, REMEMBERED = 10;

export function createView({words, can, transport, changed}) {
	const used = el('datalist', {id: 'modem-codes'});
	const code = input({maxlength: CAP, list: used.id, inputmode: 'tel', autocomplete: 'off'});
	const told = el('p', {role: 'status'});
	const answer = facts(words, 'ussdLast ussdAnswer');
	const submit = button(words.send, send, 'cbi-button-apply');

	const remember = (codes) => used.replaceChildren(...codes.map((value) => el('option', {value})));
	remember(memory.read('codes', []));

	async function send() {
		const cmd = code.value.trim();
		submit.disabled = true;
		try {
			const {result} = await transport.daemon('ussd_send', {client: 'web', cmd});
			say(told, result === 'ok' ? (can('get') ? '' : words.ussdHidden) : result);
			if (result === 'ok') {
				const codes = [cmd, ...memory.read('codes', []).filter((other) => other !== cmd)].slice(0, REMEMBERED);
				memory.write('codes', codes);
				remember(codes);
			}
		} catch (error) {
			say(told, words.failure(error));
		}
		submit.disabled = false;
		changed();
	}

	const form = el('form', {onsubmit: (event) => { event.preventDefault(); void send(); }},
		field(words.ussdCode, code), used, el('p', {}, submit));
	toggle(answer.node, false);
	return {
		node: section(words.ussd, form, told, answer.node),
		show({status}) {
			if (status === null) return;
			const {state, cmd, answer: text} = status.info.ussd;
			const isRunning = state === 'running';
			toggle(answer.node, cmd !== 'none');
			submit.disabled = isRunning;
			answer.show('ussdLast', cmd);
			answer.show('ussdAnswer', isRunning ? words.ussdRunning : text === 'none' ? words.none : text);
		},
	};
}
