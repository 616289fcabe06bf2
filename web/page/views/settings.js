// SPDX-License-Identifier: ISC
// The settings, and a new initialisation. Methods `set` and `reinit`.
import {ask, button, el, field, input, say, section, toggle} from '../dom.js';
import {lacking} from '../text.js';

// Path below settings.modem, behind modem_ the argument of `set`, and its words; without them any text.
const OPTIONS = [
	['slot', '1 2'],
	['rs485_pull', 'down up'],
	['gnss_power', 'off on'],
	['gnss_mode', '1 2 3 4'],
	['network_type', 'auto 2g 3g 4g'],
	['network_iptype', 'ipv4 ipv6 ipv4v6'],
	['network_iparea', 'public private'],
	['network_apn'],
];
const CAP = 80;
const isOptional = (path) => /^(rs485|gnss)_/.test(path);
const at = (tree, path) => path.split('_').reduce((branch, name) => branch?.[name], tree);

const createControl = (choices, words) => (choices
	? el('select', {class: 'cbi-input-select'},
		choices.split(' ').map((word) => el('option', {value: word}, words[word] ?? word)))
	: input({maxlength: CAP}));

export function createView({words, can, transport, changed}) {
	let known = null;       // the settings that the controls show where nobody changed them
	let counter = '';       // of the initialisations, as last shown
	let followed = null;    // the counter before an initialisation of ours, until that has ended
	const told = el('p', {role: 'status'});
	const rows = OPTIONS.map(([path, choices]) => {
		const control = createControl(choices, words);
		control.disabled = !can('set');
		const note = choices ? null : el('small', {}, words.apnNote);
		return {path, control, row: field(words[`modem_${path}`], control, note)};
	});
	const save = button(words.save, () => void send(), 'cbi-button-apply');
	const again = button(words.reinit, () => void reinit(), 'cbi-button-negative');

	// Which options there are is the configuration's to say.
	async function hideMissing() {
		try {
			const {values} = await transport.call('uci', 'get', {config: 'kelvantorium'});
			for (const {path, row} of rows) toggle(row, !isOptional(path) || at(values, path) != null);
		} catch { /* then all are shown */ }
	}

	async function order(method, args = {}) {
		try {
			const {result} = await transport.daemon(method, {client: 'web', ...args});
			if (result === 'ok') followed = counter;
			say(told, result === 'ok' ? words.stateInit : result);
		} catch (error) {
			say(told, error instanceof RangeError ? words.with('lacking', error.message) : words.failure(error));
		}
		changed();
	}

	async function send() {
		const args = Object.fromEntries(rows.filter(({path, control, row}) => !row.hidden && known &&
			control.value !== at(known, path)).map(({path, control}) => [`modem_${path}`, control.value]));
		const missing = lacking(Object.values(args).join(''));
		if (missing) return say(told, words.with('lacking', missing));
		if (Object.keys(args).length === 0) return say(told, words.nothingChanged);
		return order('set', args);
	}

	async function reinit() {
		if (await ask(words, words.reinitQuestion, words.reinit)) await order('reinit');
	}

	void hideMissing();
	return {
		node: section(words.settings, rows.map(({row}) => row),
			el('p', {}, can('set') ? save : null, ' ', can('reinit') ? again : null), told),
		show({status}) {
			if (status === null) return;
			const {state, reason, reinit_counter} = status.info.kelvantorium;
			const isInit = state === 'init';
			// A status from before the order may still come after it: the counter tells them apart.
			if (followed !== null && isInit) followed = '';
			const isOver = followed !== null && !isInit && followed !== reinit_counter;
			save.disabled = again.disabled = isInit || (followed !== null && !isOver);
			counter = reinit_counter;
			if (isInit) return;
			const settings = status.settings.modem;
			for (const {path, control} of rows)
				if (known === null || control.value === at(known, path)) control.value = at(settings, path);
			known = settings;
			if (!isOver) return;
			followed = null;
			say(told, state === 'op' ? words.applied : words.with('notApplied', `${state}: ${reason}`));
		},
	};
}
