// SPDX-License-Identifier: ISC
// Texts in the browser's language.
import en from './words/en.js';
import ru from './words/ru.js';

const tables = {en, ru};

// English for other languages; `with` fills {0}, {1} ..., `failure` tells why a call failed.
export function wordsFor(language) {
	const table = tables[language.slice(0, 2).toLowerCase()] ?? en;
	return {...table, language: table === ru ? 'ru' : 'en',
		failure: (error) => table[error.kind] ?? error.message,
		with: (name, ...values) => table[name].replace(/\{(\d)\}/g, (_, i) => values[i])};
}
