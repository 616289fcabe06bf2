// SPDX-License-Identifier: ISC
// The page below any host: tabs, the poll and the one state between them.
import {el, say, toggle, useHead} from './dom.js';
import {createPoller} from './poller.js';
import {createTransport, methodsOf} from './rpc.js';
import {createStore, unread} from './state.js';
import {createView as messages} from './views/messages.js';
import {createView as settings} from './views/settings.js';
import {createView as status} from './views/status.js';
import {createView as terminal} from './views/terminal.js';
import {createView as ussd} from './views/ussd.js';
import {wordsFor} from './words.js';

const QUIET = 3000;  // ms after which a call that waits is mentioned
const READ = 8;      // messages a batch: what a session may post at once is bounded

// Tab, its view, the methods of which one must be granted.
const TABS = [
	['status', status, ['get']],
	['messages', messages, ['sms_get', 'sms_send']],
	['ussd', ussd, ['ussd_send']],
	['settings', settings, ['set', 'reinit']],
	['terminal', terminal, ['at_send']],
];

async function readMessages(store, transport, counter) {
	const {isCounted, position} = store.state;
	if (isCounted && counter === position) return;
	const {ids, lost} = unread(store.state, counter);
	const replies = [];
	while (ids.length > 0)
		replies.push(...await transport.batch('sms_get', ids.splice(0, READ).map((id) => ({id: String(id)}))));
	store.dispatch({type: 'messages', counter, replies, lost, at: Date.now()});
}

// Without the right to `get`, the refusal of the last id tells the counter.
async function counterOf(transport) {
	const {result} = await transport.daemon('sms_get', {id: '32'});
	return result === 'ok' ? 32 : Number(/recv_counter: (\d+)/.exec(result)?.[1] ?? 0);
}

function createAsk(store, transport, can, expired) {
	return async () => {
		store.dispatch({type: 'asked', at: Date.now()});
		try {
			let counter = 0;
			if (can('get')) {
				const reply = await transport.daemon('get');
				store.dispatch({type: 'status', reply, at: Date.now()});
				counter = Number(reply.info.sms.recv_counter);
			} else if (can('sms_get')) {
				counter = await counterOf(transport);
			}
			if (can('sms_get')) await readMessages(store, transport, counter);
			if (!can('get')) store.dispatch({type: 'failed', kind: 'good'});
			return true;
		} catch (error) {
			store.dispatch({type: 'failed', kind: error.kind ?? 'failed'});
			if (error.kind === 'expired') expired();
		}
	};
}

function createTabs(words, views, node) {
	const tabs = views.map(({name, view}) => {
		const mark = el('span', {class: 'modem-badge'});
		const link = el('a', {href: `#${name}`, role: 'tab', id: `modem-tab-${name}`,
			'aria-controls': `modem-view-${name}`, onclick: (event) => { event.preventDefault(); choose(name); },
			onkeydown: (event) => step(event, name)}, words[name], ' ', mark);
		view.node.id = `modem-view-${name}`;
		view.node.setAttribute('role', 'tabpanel');
		view.node.setAttribute('aria-labelledby', link.id);
		return {name, view, mark, link, item: el('li', {role: 'presentation'}, link)};
	});
	node.append(el('ul', {class: 'cbi-tabmenu', role: 'tablist'}, tabs.map(({item}) => item)), ...tabs.map(({view}) => view.node));

	function choose(wanted) {
		for (const {name, view, link, item} of tabs) {
			const isChosen = name === wanted;
			toggle(view.node, isChosen);
			link.setAttribute('aria-selected', String(isChosen));
			link.tabIndex = isChosen ? 0 : -1;
			item.className = isChosen ? 'cbi-tab' : 'cbi-tab-disabled';
		}
	}
	function step(event, name) {
		const by = {ArrowRight: 1, ArrowLeft: -1}[event.key];
		if (!by) return;
		const at = tabs.findIndex((tab) => tab.name === name);
		const next = tabs[(at + by + tabs.length) % tabs.length];
		choose(next.name);
		next.link.focus();
	}
	choose(tabs[0].name);
	return {badge(name, text) {
		const tab = tabs.find((each) => each.name === name);
		if (tab) say(tab.mark, text);
	}};
}

function createNotice(words) {
	const node = el('div', {class: 'alert-message warning', role: 'status'});
	return {node, show({link, askedAt}) {
		const waits = askedAt === 0 ? 0 : Date.now() - askedAt;
		const text = waits > QUIET ? words.with('silent', Math.round(waits / 1000))
			: link === 'good' ? '' : link === 'silent' ? words.with('silent', 60) : words[link] ?? words.failed;
		toggle(node, text !== '');
		say(node, text);
	}};
}

// Puts the page into `root`. `address`, `session` and the tag `head` of heads are the host's;
// `expired` is called when the session is over. Returns what takes the page away again.
export async function mount(root, {address = '/ubus', session, expired, head = 'h2', language = navigator.language}) {
	useHead(head);
	const words = wordsFor(language);
	const transport = createTransport({address, session});
	const granted = methodsOf(await transport.rights());
	const can = (method) => granted.has(method) || granted.has('*');
	const store = createStore();
	const poller = createPoller(createAsk(store, transport, can, () => { stop(); expired(); }), {
		listen: can('get') && can(':subscribe') ? transport.listen : undefined,
		push(change) {
			store.dispatch({type: 'changed', change, at: Date.now()});
			if (change.info?.sms) poller.now();
		},
	});
	const app = {words, transport, can, dispatch: store.dispatch, changed: poller.now};
	const views = TABS.filter(([, , methods]) => methods.some(can))
		.map(([name, create]) => ({name, view: create(app)}));
	const notice = createNotice(words);
	root.replaceChildren(notice.node);
	if (views.length === 0) {
		notice.node.textContent = words.noRights;
		return {stop() {}};
	}
	const tabs = createTabs(words, views, root);
	store.watch((state) => {
		notice.show(state);
		for (const {view} of views) view.show(state);
		const fresh = state.messages.filter((message) => message.isNew).length;
		tabs.badge('messages', fresh > 0 ? String(fresh) : '');
	});
	// What shows passing time moves on while a call waits.
	const clock = setInterval(() => {
		if (document.hidden) return;
		notice.show(store.state);
		if (store.state.initSince !== 0) views.find(({name}) => name === 'status')?.view.show(store.state);
	}, 1000);
	poller.start();
	function stop() {
		clearInterval(clock);
		poller.stop();
	}
	return {stop};
}
