// SPDX-License-Identifier: Apache-2.0
'use strict';
'require view';
'require form';
'require uci';

var DAYS = [
	[ 'Monday', _('Monday') ], [ 'Tuesday', _('Tuesday') ], [ 'Wednesday', _('Wednesday') ],
	[ 'Thursday', _('Thursday') ], [ 'Friday', _('Friday') ], [ 'Saturday', _('Saturday') ],
	[ 'Sunday', _('Sunday') ]
];

function hours(from, to) {
	var found = [];
	for (var hour = from; hour <= to; hour++)
		found.push((hour < 10 ? '0' : '') + hour + ':00');
	return found;
}

function addHours(section, name, title, from, to) {
	var option = section.option(form.ListValue, name, title);
	hours(from, to).forEach(function(hour) { option.value(hour, hour); });
	option.depends('enabled', '1');
	return option;
}

function addConsent(map) {
	var section = map.section(form.NamedSection, 'service', 'service', _('Consent'));
	var option = section.option(form.Flag, 'automatic_update', _('Install by itself'),
		_('Without it each update waits for somebody to agree, unless the update server forces it.'));
	option.default = '1';
	option.rmempty = false;
}

function addWindow(map) {
	var section = map.section(form.NamedSection, 'schedule', 'schedule', _('Time for updates'));
	var option = section.option(form.Flag, 'enabled', _('Only at certain times'));
	option.rmempty = false;

	option = section.option(form.MultiValue, 'daysofweek', _('Days'));
	DAYS.forEach(function(day) { option.value(day[0], day[1]); });
	option.depends('enabled', '1');
	/* The daemon wants one text with blanks and takes a list for no value. */
	option.cfgvalue = function(id) {
		return L.toArray(uci.get('zephran', id, 'daysofweek'));
	};
	option.write = function(id, value) {
		return uci.set('zephran', id, 'daysofweek', L.toArray(value).join(' '));
	};

	addHours(section, 'starttime', _('From'), 0, 23);
	option = addHours(section, 'stoptime', _('Until'), 1, 24);
	option.validate = function(id, value) {
		var start = this.section.formvalue(id, 'starttime');
		return !start || value > start || _('The end must be after the beginning.');
	};
}

function addTransfers(map) {
	var section = map.section(form.NamedSection, 'network', 'network', _('Transfers'));
	var option = section.option(form.Value, 'max_speed', _('Greatest speed of downloads'),
		_('Bytes per second. Without a value there is no limit.'));
	option.datatype = 'range(1, 1000000000)';
	option.placeholder = _('no limit');

	option = section.option(form.Value, 'attempts', _('Tries for one file'));
	option.datatype = 'range(1, 1000)';
	option = section.option(form.Flag, 'resume', _('Go on with a download that was cut off'));
	option.rmempty = false;
}

return view.extend({
	render: function() {
		var map = new form.Map('zephran', _('Firmware updates'),
			_('Change nothing while an update is being installed: the update service is restarted.'));
		addConsent(map);
		addWindow(map);
		addTransfers(map);
		return map.render();
	}
});
