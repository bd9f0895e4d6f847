// SPDX-License-Identifier: Apache-2.0
'use strict';
'require baseclass';

/* Characters that turn or hide the text around them. */
var TRICKS = /[\u0000-\u0009\u000b-\u001f\u007f-\u009f\u061c\u200b-\u200f\u202a-\u202e\u2060-\u2069\ufeff]/g;

function language() {
	return document.documentElement.lang || undefined;
}

function number(value, digits) {
	return value.toLocaleString(language(), { maximumFractionDigits: digits });
}

var ADVICE = [
	[ 400, 599, _('The update server refuses the file or no longer has it. Tell whoever runs the update server.') ],
	[ 1006, 1007, _('The update server cannot be reached. Check the internet connection. The gateway tries again by itself.') ],
	[ 1035, 1035, _('The secured connection fails. Check the time of the gateway. If it is right, tell whoever runs the update server.') ],
	[ 1060, 1060, _('The secured connection fails. Check the time of the gateway. If it is right, tell whoever runs the update server.') ],
	[ 1000, 1999, _('The transfer broke off. Check the internet connection. The gateway tries again by itself.') ],
	[ 2000, 3999, _('An installation did not succeed. Restart the gateway if it behaves oddly, and tell whoever runs the update server.') ],
	[ 4001, 4001, _('The file is damaged. Tell whoever runs the update server.') ],
	[ 4002, 4002, _('There is not enough space on the gateway. Restart it, and tell whoever runs the update server if it happens again.') ],
	[ 4000, 4999, _('The release does not fit this gateway. Tell whoever runs the update server.') ]
];

return baseclass.extend({
	/* Text from the server or from tools, with nothing in it that changes how the rest of the page reads. */
	plain: function(text) {
		return String(text == null ? '' : text).replace(TRICKS, '\ufffd');
	},

	/* The same for text of several lines, from whatever system it was typed on. */
	lines: function(text) {
		return this.plain(String(text == null ? '' : text).replace(/\r\n?/g, '\n').replace(/\t/g, ' '));
	},

	bytes: function(count) {
		if (count < 1000)
			return _('%s B').format(number(count, 0));
		return count < 1000000 ? _('%s kB').format(number(count / 1000, 0))
		                       : _('%s MB').format(number(count / 1000000, 1));
	},

	duration: function(seconds) {
		if (seconds < 60)
			return _('%d s').format(Math.ceil(seconds));
		return seconds < 5400 ? _('%d min').format(Math.ceil(seconds / 60))
		                      : _('%s h').format(number(seconds / 3600, 1));
	},

	time: function(text) {
		var time = new Date(text);
		return isNaN(time) ? this.plain(text)
		                   : time.toLocaleString(language(), { dateStyle: 'medium', timeStyle: 'short' });
	},

	part: function(type) {
		switch (type) {
		case 'os': return _('Firmware of the gateway');
		case 'bl': return _('Boot loader');
		case 'zw': return _('Z-Wave radio');
		case 'plc':
		case 'plc_ghn': return _('Powerline chip');
		case 'script': return _('Script');
		case 'opkg': return _('Package');
		}
		return this.plain(type);
	},

	/* Losing power now can leave a device that does not start any more. */
	mustNotBeUnplugged: function(type) {
		return [ 'os', 'bl', 'zw', 'plc', 'plc_ghn' ].indexOf(type) >= 0;
	},

	state: function(status) {
		switch (status.state) {
		case 'polling': return _('The gateway is asking the update server whether there is something new.');
		case 'idle': return _('No update is pending.');
		case 'backoff': return _('The update server could not be reached. The gateway tries again by itself.');
		case 'waiting_window': return _('An update is ready. It starts within the time that is set for updates.');
		case 'waiting_delay': return _('An update is ready. It starts later.');
		case 'waiting_user': return _('An update is ready and waits for your consent.');
		case 'downloading': return _('An update is being downloaded.');
		case 'verifying': return _('The download is being checked.');
		case 'installing': return _('An update is being installed.');
		case 'reporting': return _('The gateway is telling the update server how it went.');
		case 'dormant': return _('The gateway looks for updates only when it is told to.');
		}
		return _('The gateway says something that this page does not understand: %s').format(this.plain(status.state));
	},

	absence: function(kind, wasBusy) {
		switch (kind) {
		case 'absent': return _('The update service is not running on this gateway.');
		case 'old': return _('The update service does not tell its state: the option bus_extended is off.');
		case 'denied': return _('You may not see this, or your session has ended. Please log in again.');
		}
		return wasBusy ? _('The gateway does not answer; it is probably restarting for the update. Do not unplug it. This page goes on by itself.')
		               : _('The gateway does not answer. This page goes on by itself as soon as it does.');
	},

	result: function(result) {
		switch (result) {
		case 'success': return _('The last update was installed.');
		case 'failure': return _('The last update has failed.');
		}
		return _('The last update was cancelled at the update server.');
	},

	advice: function(code) {
		var found = ADVICE.filter(function(row) { return code >= row[0] && code <= row[1]; })[0];
		return found ? found[2] : _('Tell whoever runs the update server if it happens again.');
	}
});
