// SPDX-License-Identifier: ISC
// CP1251, the octets that the daemon's texts have on the bus. A browser decodes them but does not
// encode them: the way back is the decoder's own table, read backwards.
const decoder = new TextDecoder('windows-1251');
const letters = [...decoder.decode(Uint8Array.from({length: 256}, (_, octet) => octet))];
const octets = new Map(letters.map((letter, octet) => [letter, octet]));

export const decode = (buffer) => decoder.decode(buffer);

// The characters that have no octet, each once.
export const lacking = (text) => [...new Set(text)].filter((letter) => !octets.has(letter)).join('');

export function encode(text) {
	const missing = lacking(text);
	if (missing) throw new RangeError(missing);
	return Uint8Array.from(text, (letter) => octets.get(letter));
}
