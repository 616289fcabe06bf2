// SPDX-License-Identifier: ISC
// The page's modules that need no browser: text, transport, state, words.
import assert from 'node:assert/strict';
import {execFileSync} from 'node:child_process';
import {readFileSync, readdirSync} from 'node:fs';
import test from 'node:test';

import {RpcError, createTransport, methodsOf} from '../../web/page/rpc.js';
import {createPoller} from '../../web/page/poller.js';
import {createStore, csvOf, degrees, initial, numbersOf, reduce, unread} from '../../web/page/state.js';
import {decode, encode, lacking} from '../../web/page/text.js';
import en from '../../web/page/words/en.js';
import ru from '../../web/page/words/ru.js';
import {wordsFor} from '../../web/page/words.js';

test('text: all 256 octets come back, and known letters have their octets', () => {
    const all = Uint8Array.from({length: 256}, (_, octet) => octet);
    assert.deepEqual(encode(decode(all)), all);
    assert.deepEqual([...encode('Ёё№€')], [0xa8, 0xb8, 0xb9, 0x88]);
    assert.equal(lacking('Привет 😀, 中ok中'), '😀中');
    assert.throws(() => encode('a中'), {name: 'RangeError', message: '中'});
});

// A server that gives the answers one after another and keeps what it was asked.
function serve(...answers) {
    const asked = [];
    return {asked, transport: createTransport({address: '/ubus', session: () => 's', fetch: async (address, {body, signal}) => {
        asked.push({octets: new Uint8Array(body), signal});
        const answer = answers.shift();
        if (answer instanceof Error) throw answer;
        const octets = answer instanceof Uint8Array ? answer : encode(JSON.stringify(answer));
        return {ok: !answer.http, status: answer.http, arrayBuffer: async () => octets.buffer};
    }})};
}
const result = (...parts) => ({jsonrpc: '2.0', id: 1, result: parts});
const fault = (code) => ({jsonrpc: '2.0', id: 1, error: {code, message: 'm'}});

test('transport: the daemon is asked and answers in CP1251, others in UTF-8', async () => {
    const {transport, asked} = serve(result(0, {text: 'Привет'}), new TextEncoder().encode(JSON.stringify(result(0, {text: 'Привет'}))));
    assert.deepEqual(await transport.daemon('sms_send', {text: 'Да'}), {text: 'Привет'});
    assert.deepEqual(JSON.parse(decode(asked[0].octets)).params, ['s', 'kelvantorium', 'sms_send', {text: 'Да'}]);
    assert.ok(asked[0].octets.includes(0xc4) && asked[0].signal instanceof AbortSignal);
    assert.deepEqual(await transport.call('uci', 'get', {config: 'Да'}), {text: 'Привет'});
    assert.ok(asked[1].octets.includes(0xd0));
});

test('transport: each failure has its kind', async () => {
    const timeout = Object.assign(new Error('t'), {name: 'TimeoutError'});
    const rows = [
        [[result(0)], null], [[result(4)], 'absent'], [[result(7)], 'silent'], [[result(2)], 'failed'], [[{}], 'failed'],
        [[fault(-32000)], 'absent'], [[fault(-32001)], 'expired'], [[fault(-32003)], 'silent'], [[fault(-32603)], 'failed'],
        [[fault(-32002), result(0, {})], 'denied'], [[fault(-32002), fault(-32002)], 'expired'],
        [[fault(-32002), result(4)], 'expired'], [[result(6), result(0, {})], 'denied'],
        [[new Error('refused')], 'offline'], [[timeout], 'silent'], [[{http: 502}], 'offline'],
        [[new Uint8Array([0x7b])], 'failed'], [[fault(-32002), new Error('refused')], 'offline'],
    ];
    for (const [answers, kind] of rows) {
        const found = await serve(...answers).transport.daemon('get').then(() => null, (error) => error);
        assert.equal(found && found.kind, kind, JSON.stringify(answers));
        assert.ok(found === null || found instanceof RpcError);
    }
    await assert.rejects(serve().transport.daemon('sms_send', {text: '中'}), RangeError);
});

test('transport: a batch keeps the order; rights name the methods', async () => {
    const {transport, asked} = serve([result(0, {id: '2'}), result(0, {id: '3'})]);
    assert.deepEqual(await transport.batch('sms_get', [{id: '2'}, {id: '3'}]), [{id: '2'}, {id: '3'}]);
    assert.deepEqual(JSON.parse(decode(asked[0].octets)).map((request) => request.params[3].id), ['2', '3']);
    assert.deepEqual([...methodsOf({acls: {ubus: {kelvantorium: ['get'], other: ['x']}}})], ['get']);
    assert.deepEqual([...methodsOf({ubus: {'*': ['*']}})], ['*']);
});

const status = (over = {}) => ({info: {kelvantorium: {state: 'op'}, sms: {}, ussd: {},
    network: {type: '4g/LTE', rssi: '-70.00', rsrp: '-90.00', rsrq: '-10.00', sinr: '15.00', rscp: '-124.00'}, ...over}});

test('state: samples hold what the technology has, for ten minutes', () => {
    const take = (state, at, reply = status()) => reduce(state, {type: 'status', reply, at});
    let state = take(take(initial, 1000), 500000);
    assert.deepEqual(state.samples[0], {at: 1000, type: '4g/LTE', rssi: -70, rsrp: -90, rsrq: -10, sinr: 15});
    state = take(state, 601000);
    assert.deepEqual(state.samples.map(({at}) => at), [500000, 601000]);
    const none = take(state, 602000, status({network: {type: 'none', rssi: '-110.00'}}));
    assert.deepEqual(none.samples.at(-1), {at: 602000, type: 'none'});
    const init = take(take(state, 700000, status({kelvantorium: {state: 'init'}})), 705000, status({kelvantorium: {state: 'init'}}));
    assert.equal(init.initSince, 700000);
    assert.equal(take(init, 710000).initSince, 0);
    assert.equal(reduce(state, {type: 'failed', kind: 'silent'}).link, 'silent');
});

test('state: the ring is read in order of arrival, over its wrap and a clearing', () => {
    const store = createStore();
    const arrive = (counter) => {
        const {ids, lost} = unread(store.state, counter);
        store.dispatch({type: 'messages', counter, lost, at: counter,
            replies: ids.map((id) => ({result: 'ok', id: String(id), text: `${counter}/${id}`}))});
        return [ids.join(), lost];
    };
    assert.deepEqual(arrive(30), [Array.from({length: 30}, (_, i) => i + 1).join(), 0]);
    assert.ok(store.state.messages.every(({isNew}) => !isNew));
    assert.deepEqual(arrive(31), ['31', 0]);
    assert.deepEqual(store.state.messages.filter(({isNew}) => isNew).map(({id}) => id), ['31']);
    assert.deepEqual(arrive(2), ['1,2', 1]);  // position 32 went by
    assert.deepEqual(store.state.messages.slice(-3).map(({text}) => text), ['31/31', '2/1', '2/2']);
    assert.equal(store.state.lost, 1);
    store.dispatch({type: 'seen'});
    assert.ok(store.state.messages.every(({isNew}) => !isNew));
    assert.deepEqual(arrive(0), ['', 0]);
    assert.deepEqual([store.state.messages.length, store.state.lost], [0, 0]);
    assert.deepEqual(arrive(1), ['1', 0]);
});

test('values: degrees, numbers, rows of a spreadsheet', () => {
    assert.equal(degrees('5546.1235352', 'north').toFixed(6), '55.768726');
    assert.equal(degrees('00030.0000000', 'west'), -0.5);
    assert.deepEqual(numbersOf(' +7 916; ;123,\n45'), ['+7 916', '123', '45']);
    assert.equal(csvOf([{id: '1', number: '=1', timestamp: 't', text: 'a "b"\nc'}], ['H']),
        '\uFEFF"H"\r\n"1","t","\'=1","a ""b""\nc"\r\n');
});

test('words: both languages are complete and fill the same places', () => {
    assert.deepEqual(Object.keys(ru).sort(), Object.keys(en).sort());
    const places = (text) => (text.match(/\{\d\}/g) ?? []).sort().join();
    for (const name of Object.keys(en)) assert.equal(places(ru[name]), places(en[name]), name);
    assert.equal(wordsFor('ru-RU').title, ru.title);
    assert.equal(wordsFor('de').with('silent', 7), en.silent.replace('{0}', '7'));
});

const shipped = ['page', 'luci'].flatMap((part) => {
    const folder = new URL(`../../web/${part}/`, import.meta.url);
    return readdirSync(folder, {recursive: true}).filter((name) => name.includes('.'))
        .sort().map((name) => ({name, content: readFileSync(new URL(name, folder))}));
});

test('size: all that is shipped, as it is and gzipped as one', () => {
    const all = Buffer.concat(shipped.map(({content}) => content));
    assert.ok(shipped.length > 20 && all.length <= 60000, `${all.length} octets`);
    const zipped = execFileSync('gzip', ['-9n'], {input: all}).length;
    assert.ok(zipped <= 20000, `${zipped} octets gzipped`);
});

test('poller: one question at a time, none while nobody looks', async () => {
    const page = Object.assign(new EventTarget(), {hidden: false});
    const answers = [];
    let asked = 0;
    const poller = createPoller(() => new Promise((resolve) => { asked++; answers.push(resolve); }), {interval: 0, page});
    const askedLater = () => new Promise((resolve) => setTimeout(() => resolve(asked), 20));
    poller.start();
    poller.now();
    poller.now();
    assert.equal(await askedLater(), 1);
    page.hidden = true;
    answers.pop()();
    assert.equal(await askedLater(), 1);
    page.hidden = false;
    page.dispatchEvent(new Event('visibilitychange'));
    assert.equal(await askedLater(), 2);
    poller.stop();
    answers.pop()();
    assert.equal(await askedLater(), 2);
});
