// SPDX-License-Identifier: ISC
// The page on its own: log-in, and the session in the tab's storage.
import {mount} from './app.js';
import {button, el, field, input, say, submitter} from './dom.js';
import {createTransport} from './rpc.js';
import {wordsFor} from './words.js';

const ADDRESS = '/ubus';
const NOBODY = '0'.repeat(32);
const KEY = 'kelvantorium.session';
const words = wordsFor(navigator.language);
const root = document.getElementById('modem');
const out = document.getElementById('logout');
let session = sessionStorage.getItem(KEY) ?? NOBODY;
const transport = createTransport({address: ADDRESS, session: () => session});

function keep(id) {
	session = id;
	if (id === NOBODY) sessionStorage.removeItem(KEY);
	else sessionStorage.setItem(KEY, id);
}

function showLogin(reason = '') {
	keep(NOBODY);
	out.hidden = true;
	const username = input({autocomplete: 'username', autocapitalize: 'off'});
	const password = input({type: 'password', autocomplete: 'current-password'});
	const told = el('p', {role: 'alert'}, reason);
	const submit = submitter(words.login);
	async function login(event) {
		event.preventDefault();
		submit.disabled = true;
		try {
			keep((await transport.login(username.value, password.value)).ubus_rpc_session);
			await showPage();
		} catch (error) {
			say(told, error.kind === 'denied' ? words.wrongLogin : words.failure(error));
		}
		submit.disabled = false;
	}
	root.replaceChildren(el('form', {class: 'cbi-section', onsubmit: login},
		field(words.username, username), field(words.password, password), told, el('p', {}, submit)));
	username.focus();
}

async function showPage() {
	const page = await mount(root, {address: ADDRESS, session: () => session, expired: () => showLogin(words.expired)});
	out.replaceChildren(button(words.logout, async () => {
		page.stop();
		await transport.logout();
		showLogin();
	}));
	out.hidden = false;
}

document.documentElement.lang = words.language;
document.title = words.title;
say(document.querySelector('h1'), words.title);
if (session === NOBODY) showLogin();
else showPage().catch((error) => showLogin(error.kind === 'offline' ? words.offline : words.expired));
