// SPDX-License-Identifier: ISC
// One value over the last ten minutes, with gaps where nothing was known.
import {el, say, svg} from './dom.js';
import {HISTORY} from './state.js';

const WIDTH = 600, HEIGHT = 120, GAP = 15000;  // ms between samples that are joined
const units = {rssi: 'dBm', rsrp: 'dBm', rscp: 'dBm'};
export const unitOf = (name) => units[name] ?? 'dB';

export function createChart(words) {
	const line = svg('path', {class: 'modem-line', d: '', fill: 'none'});
	const low = svg('text', {x: 4, y: HEIGHT - 4});
	const high = svg('text', {x: 4, y: 14});
	const title = svg('title');
	const picture = svg('svg', {viewBox: `0 0 ${WIDTH} ${HEIGHT}`, role: 'img', class: 'modem-chart'},
		title, line, low, high);
	const caption = el('figcaption');
	return {
		node: el('figure', {}, picture, caption),
		show(samples, name, at) {
			const points = samples.filter((sample) => Number.isFinite(sample[name]));
			const values = points.map((sample) => sample[name]);
			say(caption, words.with('chart', words[name]));
			if (values.length === 0) {
				say(title, words.noChart);
				line.setAttribute('d', '');
				return;
			}
			const bottom = Math.floor(Math.min(...values) - 1), top = Math.ceil(Math.max(...values) + 1);
			const x = (sample) => WIDTH * (1 - (at - sample.at) / HISTORY);
			const y = (sample) => HEIGHT * (1 - (sample[name] - bottom) / (top - bottom));
			line.setAttribute('d', points.map((sample, i) =>
				`${i === 0 || sample.at - points[i - 1].at > GAP ? 'M' : 'L'}${x(sample).toFixed(1)} ${y(sample).toFixed(1)}`).join(''));
			say(low, `${bottom} ${unitOf(name)}`);
			say(high, `${top} ${unitOf(name)}`);
			say(title, words.with('chartText', words[name], values.at(-1), unitOf(name),
				Math.min(...values), Math.max(...values)));
		},
	};
}
