// SPDX-License-Identifier: ISC
// CP1251, the octets of the daemon's texts. A browser only decodes them: the way back is its table.
const decoder = new TextDecoder('windows-1251');
const letters = [...decoder.decode(Uint8Array.from({length: 256}, (_, octet) => octet))];
const octets = new Map(letters.map((letter, octet) => [letter, octet]));

export const decode = (buffer) => decoder.decode(buffer);

export const lacking = (text) => [...new Set(text)].filter((letter) => !octets.has(letter)).join('');

export function encode(text) {
	const missing = lacking(text);
	if (missing) throw new RangeError(missing);
	return Uint8Array.from(text, (letter) => octets.get(letter));
}
