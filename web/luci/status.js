// SPDX-License-Identifier: ISC
'use strict';
'require view';

// The page's own modules below LuCI's menu: its session, its theme, its language.
return view.extend({
	load: function() {
		return import('/kelvantorium/app.js');
	},
	render: function(page) {
		var root = E('div');
		document.head.append(E('link', { rel: 'stylesheet', href: '/kelvantorium/parts.css' }));
		return page.mount(root, {
			address: L.env.ubuspath || '/ubus/',
			session: function() { return L.env.sessionid; },
			expired: function() { location.reload(); },
			head: 'h3',
			language: document.documentElement.lang || navigator.language
		}).then(function() { return root; });
	},
	handleSave: null,
	handleSaveApply: null,
	handleReset: null
});
