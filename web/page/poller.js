// SPDX-License-Identifier: ISC
// Asks again and again, one call at a time, and only while somebody looks.
export function createPoller(ask, {interval = 2000, page = document} = {}) {
	let timer = 0;
	let isBusy = false;
	let isStopped = true;

	async function turn() {
		clearTimeout(timer);
		if (isBusy || isStopped || page.hidden) return;
		isBusy = true;
		try {
			await ask();
		} finally {
			isBusy = false;
			if (!isStopped && !page.hidden) timer = setTimeout(turn, interval);
		}
	}
	const look = () => void turn();
	return {
		start() {
			isStopped = false;
			page.addEventListener('visibilitychange', look);
			look();
		},
		stop() {
			isStopped = true;
			clearTimeout(timer);
			page.removeEventListener('visibilitychange', look);
		},
		now: look,
	};
}
