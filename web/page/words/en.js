// SPDX-License-Identifier: ISC
export default {
	title: 'Cellular modem', status: 'Status', messages: 'Messages', ussd: 'USSD', settings: 'Settings',
	terminal: 'AT commands', username: 'User', password: 'Password', login: 'Log in', logout: 'Log out',
	wrongLogin: 'Name or password is wrong.', expired: 'The session is over. Please log in again.',
	cancel: 'Cancel', noRights: 'This log-in may not see the modem.',
	lacking: 'The modem cannot take: {0}',

	waiting: 'Asking the modem daemon …', silent: 'The modem does not answer yet ({0} s).',
	offline: 'The router cannot be reached. Trying again.', absent: 'The modem daemon does not run. Trying again.',
	denied: 'This log-in may not do that.', failed: 'Unexpected answer. Trying again.',

	state: 'State', exactState: 'Exact words', stateOp: 'Ready', stateInit: 'The modem is being initialised',
	stateNosim: 'No SIM card in the selected slot', stateError: 'Out of order',
	errorNo_answer: 'The modem does not answer', errorSim_removed: 'The SIM card was taken out',
	errorSim_locked: 'The SIM card wants its PIN or PUK', errorSim_crash: 'The SIM card does not work',
	errorFatal: 'The modem daemon has failed inside',
	initProgress: '{0} s so far; 12 to 30 s are usual, minutes possible',
	slot1: 'SIM slot 1', slot2: 'SIM slot 2', inserted: 'card inserted', empty: 'empty', selected: 'selected',
	model: 'Modem', firmware: 'Firmware', imei: 'IMEI', imsi: 'IMSI', iccid: 'ICCID',
	reinits: 'Initialisations since the start', received: 'Position of the newest message',

	network: 'Network', connection: 'Connection', connected: 'connected', disconnected: 'not connected',
	provider: 'Operator', type: 'Technology', level: 'Level', 'no signal': 'no signal', weak: 'weak',
	medium: 'medium', good: 'good', excellent: 'excellent', ip: 'Address', gateway: 'Gateway',
	rssi: 'RSSI', rsrp: 'RSRP', rsrq: 'RSRQ', sinr: 'SINR', rscp: 'RSCP', ecio: 'Ec/Io',
	chart: '{0}, last ten minutes', chartText: '{0}: now {1} {2}, lowest {3}, highest {4}', noChart: 'No signal to show yet',

	gnss: 'Position', fix: 'Fix', noFix: 'none', coordinates: 'Coordinates', map: 'Open on a map',
	altitude: 'Altitude', satellites: 'Satellites', satellitesText: '{0} in use, {1} in view', time: 'Time of the fix (UTC)',

	noMessages: 'No messages.', noneFound: 'No message holds that.', search: 'Search', copy: 'Copy', copied: 'Copied',
	exportCsv: 'Export as CSV', clear: 'Delete all', clearQuestion: 'Delete all messages from the router?',
	isNew: 'new', position: 'Position', number: 'Number', text: 'Text', received_at: 'Time',
	ringNote: 'The router keeps 32 messages, then begins again at position 1. What was read stays here until the page is closed.',
	lost: '{0} messages went by unread.',
	send: 'Send', sendTitle: 'New message', numbers: 'Numbers', numbersNote: 'Up to five, separated by ;',
	tooMany: 'Five numbers at most.', count: '{0} characters; one message takes {1}, the field {2}',
	sending: 'sending …', queued: 'waits', sent: 'sent',
	unsure: 'no answer in time: it may have been sent',

	ussdCode: 'Code', ussdRunning: 'Waiting for the network …', ussdAnswer: 'Answer', ussdLast: 'Last code',
	ussdHidden: 'This log-in may not read the answer.', none: 'none',

	modem_slot: 'SIM slot', modem_rs485_pull: 'RS-485 pull line', modem_gnss_power: 'GNSS receiver',
	modem_gnss_mode: 'Satellite systems', modem_network_type: 'Radio access', modem_network_iptype: 'IP type',
	modem_network_iparea: 'Address of usb0', modem_network_apn: 'Access point (APN)',
	apnNote: 'dynamic: the operator chooses', down: 'down', up: 'up', off: 'off', on: 'on', auto: 'automatic',
	public: 'the operator\u2019s', private: 'behind the modem',
	save: 'Save', nothingChanged: 'Nothing was changed.',
	applied: 'The modem runs with the new settings.', notApplied: 'The initialisation ended in: {0}',
	reinit: 'Initialise the modem', reinitQuestion: 'Initialise anew? No data connection meanwhile.',

	atWarning: 'A wrong AT command may cut the connection, lock the SIM card or cost money.',
	atAccept: 'I know what I do', atCommand: 'AT command', atLog: 'Dialogue with the modem',
};
