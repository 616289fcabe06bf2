// SPDX-License-Identifier: ISC
// Asks again and again, one call at a time, and only while somebody looks; seldom while the server
// pushes what changes.
export function createPoller(ask, {interval = 2000, calm = 5000, listen, push, page = document} = {}) {
	let timer = 0, stream;
	let isStopped = true, isBusy = false, isOpen = false;
	let isLate = false;  // the answer under way may be outdated

	async function turn() {
		clearTimeout(timer);
		isLate = isBusy;
		if (isBusy) return;
		if (isStopped || page.hidden) {
			stream = stream?.abort();
			return;
		}
		isBusy = true;
		let isGood = false;
		try {
			isGood = await ask();
		} finally {
			isBusy = false;
			if (!isGood) stream?.abort();
			else if (listen) stream ??= follow();
			timer = setTimeout(turn, isLate ? 0 : isOpen ? calm : interval);
		}
	}

	// One try each time the page comes into sight.
	function follow() {
		const control = new AbortController();
		const take = (change) => { isLate = isBusy; push(change); };
		listen(take, () => { isOpen = true; turn(); }, control.signal).catch(() => {})
			.then(() => { isOpen = false; turn(); });
		return control;
	}
	return {
		start() {
			isStopped = false;
			page.addEventListener('visibilitychange', turn);
			turn();
		},
		stop() {
			isStopped = true;
			page.removeEventListener('visibilitychange', turn);
			turn();
		},
		now: turn,
	};
}
