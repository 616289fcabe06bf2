// SPDX-License-Identifier: ISC
// AT commands by hand. Method `at_send`.
import {button, el, field, input, memory, section, submitter, toggle} from '../dom.js';
import {lacking} from '../text.js';

const CAP = 80, LINES = 500;

export function createView({words, transport, changed}) {
	const history = [];
	let place = 0;
	const log = el('pre', {class: 'modem-log', role: 'log', tabindex: 0, 'aria-label': words.atLog});
	const line = input({maxlength: CAP, autocomplete: 'off',
		autocapitalize: 'off', spellcheck: 'false', onkeydown: browse});
	const submit = submitter(words.send);

	function print(text, style) {
		log.append(el('span', {class: style}, `${text}\n`));
		while (log.childElementCount > LINES) log.firstElementChild.remove();
		log.scrollTop = log.scrollHeight;
	}

	function browse(event) {
		const step = {ArrowUp: -1, ArrowDown: 1}[event.key];
		if (!step) return;
		event.preventDefault();
		place = Math.min(Math.max(place + step, 0), history.length);
		line.value = history[place] ?? '';
	}

	async function send(event) {
		event.preventDefault();
		const cmd = line.value.trim();
		if (cmd === '' || submit.disabled) return;
		const missing = lacking(cmd);
		if (missing) return print(words.with('lacking', missing), 'modem-fault');
		place = history.push(cmd);
		line.value = '';
		submit.disabled = true;
		print(`> ${cmd}`, 'modem-sent');
		try {
			const {result, answer} = await transport.daemon('at_send', {client: 'web', cmd});
			print(result === 'ok' ? answer.replace(/\r/g, '').trim() : result, result === 'ok' ? '' : 'modem-fault');
		} catch (error) {
			print(words.failure(error), 'modem-fault');
		}
		submit.disabled = false;
		changed();
	}

	const console = el('form', {onsubmit: send}, log, field(words.atCommand, line), el('p', {}, submit));
	const warning = el('div', {class: 'alert-message warning'}, el('p', {}, words.atWarning),
		button(words.atAccept, () => {
			memory.write('warned', true);
			toggle(warning, false);
			toggle(console, true);
			line.focus();
		}));
	const isWarned = memory.read('warned', false);
	toggle(warning, !isWarned);
	toggle(console, isWarned);
	return {node: section(words.terminal, warning, console), show() {}};
}
