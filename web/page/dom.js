// SPDX-License-Identifier: ISC
// Elements. Texts become text nodes, never markup.
const SVG = 'http://www.w3.org/2000/svg';

function fill(element, attributes, children) {
	for (const [name, value] of Object.entries(attributes)) {
		if (name.startsWith('on')) element.addEventListener(name.slice(2), value);
		else if (value === true) element.setAttribute(name, '');
		else if (value !== false && value != null) element.setAttribute(name, value);
	}
	element.append(...children.flat(Infinity).filter((child) => child != null));
	return element;
}

export const el = (tag, attributes = {}, ...children) =>
	fill(document.createElement(tag), attributes, children);
export const svg = (tag, attributes = {}, ...children) =>
	fill(document.createElementNS(SVG, tag), attributes, children);

// A screen reader is not told the same again.
export function say(node, text) {
	if (node.textContent !== text) node.textContent = text;
}

export function toggle(node, isShown) {
	node.hidden = !isShown;
}

// The level of a section's head is the host's.
let head = 'h2';
export const useHead = (tag) => { head = tag; };
export const section = (title, ...children) =>
	el('section', {class: 'cbi-section'}, el(head, {}, title), el('div', {class: 'cbi-section-node'}, children));

let lastId = 0;
export function field(label, control, note) {
	control.id ||= `modem-${++lastId}`;
	return el('div', {class: 'cbi-value'},
		el('label', {class: 'cbi-value-title', for: control.id}, label),
		el('div', {class: 'cbi-value-field'}, control, note));
}

export const button = (text, action, style = '') =>
	el('button', {type: 'button', class: `btn cbi-button ${style}`, onclick: action}, text);
export const submitter = (text) => el('button', {class: 'btn cbi-button cbi-button-apply'}, text);
export const input = (attributes) => el('input', {type: 'text', class: 'cbi-input-text', ...attributes});

export function facts(words, names) {
	const cells = new Map();
	const rows = names.split(' ').map((name) => {
		const cell = el('td', {class: 'td'});
		const row = el('tr', {class: 'tr'}, el('th', {class: 'th', scope: 'row'}, words[name]), cell);
		cells.set(name, {cell, row});
		return row;
	});
	return {
		node: el('table', {class: 'table'}, el('tbody', {}, rows)),
		show(name, text) {
			const {cell, row} = cells.get(name);
			toggle(row, text != null);
			say(cell, text ?? '');
		},
		cell: (name) => cells.get(name).cell,
	};
}

export function ask(words, question, action) {
	return new Promise((resolve) => {
		const close = (answer) => () => {
			dialog.close();
			dialog.remove();
			resolve(answer);
		};
		const text = el('p', {id: 'modem-question'}, question);
		const dialog = el('dialog', {class: 'cbi-section', 'aria-labelledby': text.id, oncancel: close(false)},
			text, el('div', {class: 'right'}, button(words.cancel, close(false)), ' ',
				button(action, close(true), 'cbi-button-negative')));
		document.body.append(dialog);
		dialog.showModal();
	});
}

// What a device remembers between visits; a browser may refuse it.
export const memory = {
	read(name, otherwise) {
		try {
			return JSON.parse(localStorage.getItem(`kelvantorium.${name}`)) ?? otherwise;
		} catch {
			return otherwise;
		}
	},
	write(name, value) {
		try {
			localStorage.setItem(`kelvantorium.${name}`, JSON.stringify(value));
		} catch { /* then it is forgotten */ }
	},
};
