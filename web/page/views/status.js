// SPDX-License-Identifier: ISC
// The modem at a glance. Method `get`.
import {createChart, unitOf} from '../chart.js';
import {button, el, facts, say, section, toggle} from '../dom.js';
import {SIGNALS, degrees} from '../state.js';

const BARS = {'no signal': '', weak: '▂', medium: '▂▄', good: '▂▄▆', excellent: '▂▄▆█'};
const USUAL = 30;  // s that an initialisation takes as a rule
const capital = (word) => word[0].toUpperCase() + word.slice(1);
const showKnown = (table, names, values) => {
	for (const name of names.split(' ')) table.show(name, values[name] === 'none' ? null : values[name]);
};

function createSignals(words, choose) {
	const rows = new Map(Object.keys(words).filter((name) => Object.values(SIGNALS).flat().includes(name))
		.map((name) => {
			const value = el('td', {class: 'td'});
			const pick = button(words[name], () => choose(name));
			return [name, {value, pick, row: el('tr', {class: 'tr'}, el('th', {class: 'th', scope: 'row'}, pick), value)}];
		}));
	return {
		node: el('table', {class: 'table'}, el('tbody', {}, [...rows.values()].map(({row}) => row))),
		show(network, chosen) {
			const names = SIGNALS[network.type] ?? [];
			for (const [name, {value, pick, row}] of rows) {
				toggle(row, names.includes(name));
				say(value, `${network[name]} ${unitOf(name)}`);
				pick.setAttribute('aria-pressed', String(name === chosen));
			}
		},
	};
}

export function createView({words}) {
	let chosen = 'rssi', state;
	const headline = el('strong', {role: 'status'});
	const progress = el('progress', {max: USUAL, 'aria-label': words.stateInit});
	const progressText = el('span');
	const initialisation = el('p', {}, progress, ' ', progressText);
	const general = facts(words, 'exactState slot1 slot2 imsi iccid model firmware imei reinits received');
	const network = facts(words, 'connection provider type level ip gateway');
	const bars = el('span', {'aria-hidden': 'true'});
	const levelText = el('span');
	network.cell('level').append(bars, ' ', levelText);
	const signals = createSignals(words, (name) => { chosen = name; show(state); });
	const chart = createChart(words);
	const gnss = facts(words, 'fix coordinates altitude satellites time');
	const link = el('a', {target: '_blank', rel: 'noopener noreferrer'}, words.map);
	const place = el('span');
	gnss.cell('coordinates').append(place, ' ', link);
	const content = el('div', {},
		section(words.state, el('p', {}, headline), initialisation, general.node),
		section(words.network, network.node, signals.node, chart.node),
		section(words.gnss, gnss.node));

	function showGeneral({kelvantorium, modem, sim, sms}, slot) {
		const told = [words[`state${capital(kelvantorium.state)}`] ?? kelvantorium.state,
			words[`error${capital(kelvantorium.error)}`]].filter(Boolean);
		say(headline, told.join(': '));
		general.show('exactState', `${kelvantorium.state}, ${kelvantorium.error}: ${kelvantorium.reason}`);
		for (const n of ['1', '2']) {
			const is = modem[`slot${n}_state`];
			general.show(`slot${n}`, (words[is] ?? is) + (slot === n ? `, ${words.selected}` : ''));
		}
		showKnown(general, 'imsi iccid', sim);
		showKnown(general, 'model firmware imei', modem);
		general.show('reinits', kelvantorium.reinit_counter);
		general.show('received', sms.recv_counter);
	}

	function showNetwork(values, samples) {
		network.show('connection', words[values.state] ?? values.state);
		showKnown(network, 'provider type ip gateway', values);
		say(bars, BARS[values.level]);
		say(levelText, words[values.level] ?? values.level);
		const names = SIGNALS[values.type] ?? [];
		if (names.length > 0 && !names.includes(chosen)) [chosen] = names;
		signals.show(values, chosen);
		chart.show(samples, chosen, Date.now());
	}

	function showGnss(values) {
		const isFixed = values.state === 'available';
		gnss.show('fix', isFixed ? values.fixation.toUpperCase() : words.noFix);
		const latitude = degrees(values.latitude, values.ns).toFixed(6);
		const longitude = degrees(values.longitude, values.ew).toFixed(6);
		toggle(gnss.cell('coordinates').parentNode, isFixed);
		say(place, `${latitude}, ${longitude}`);
		link.href = `https://www.openstreetmap.org/?mlat=${latitude}&mlon=${longitude}#map=15/${latitude}/${longitude}`;
		gnss.show('altitude', isFixed ? `${values.altitude} m` : null);
		gnss.show('satellites', isFixed ? words.with('satellitesText', values.validsvs, values.cntsvs) : null);
		gnss.show('time', isFixed ? values.datetime : null);
	}

	function show(next) {
		state = next;
		toggle(content, state.status !== null);
		if (state.status === null) return;
		const {info, settings} = state.status;
		showGeneral(info, settings.modem.slot);
		const seconds = state.initSince === 0 ? 0 : Math.round((Date.now() - state.initSince) / 1000);
		toggle(initialisation, state.initSince !== 0);
		progress.value = Math.min(seconds, USUAL);
		say(progressText, words.with('initProgress', seconds));
		showNetwork(info.network, state.samples);
		showGnss(info.gnss);
	}
	return {node: el('div', {}, content), show};
}
