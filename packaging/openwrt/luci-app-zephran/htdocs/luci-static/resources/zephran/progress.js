// SPDX-License-Identifier: Apache-2.0
'use strict';
'require baseclass';
'require dom';
'require zephran.words as words';

/* A screen reader is told so many percent apart; once a second would be all that it says. */
var SPOKEN_STEP = 10;

function fraction(status) {
	return status.size > 0 && status.bytes >= 0 ? Math.min(status.bytes / status.size, 1) : null;
}

function step(status) {
	var name = '%s %s'.format(words.part(status.part), words.plain(status.version));
	return status.chunk ? _('Step %d of %d: %s').format(status.chunk, status.chunks, name) : '';
}

function amount(status) {
	if (fraction(status) == null)
		return '';
	var parts = [ _('%s of %s').format(words.bytes(status.bytes), words.bytes(status.size)) ];
	if (status.speed > 0) {
		parts.push(_('%s per second').format(words.bytes(status.speed)));
		parts.push(_('%s left').format(words.duration((status.size - status.bytes) / status.speed)));
	}
	if (status.attempt > 1)
		parts.push(_('try %d').format(status.attempt));
	return parts.join(', ');
}

/* Stays the same node while the numbers in it change, so that it neither flickers nor loses the focus. */
return baseclass.extend({
	render: function() {
		this.step = E('p', { 'class': 'zephran-name' });
		this.fill = E('div');
		this.bar = E('div', {
			'class': 'zephran-bar', 'role': 'progressbar', 'aria-label': _('Progress of the download'),
			'aria-valuemin': '0', 'aria-valuemax': '100'
		}, [ this.fill ]);
		this.amount = E('p');
		this.spoken = E('p', { 'class': 'zephran-spoken', 'role': 'status' });
		this.warning = E('p', { 'class': 'zephran-warning' });
		this.node = E('div', { 'data-area': 'progress' }, [ this.step, this.bar, this.amount, this.spoken, this.warning ]);
		return this.node;
	},

	update: function(status) {
		var busy = [ 'downloading', 'verifying', 'installing' ].indexOf(status.state) >= 0;
		this.node.hidden = !busy;
		if (!busy) {
			dom.content(this.spoken, []);
			return;
		}
		dom.content(this.step, [ E('bdi', [ step(status) ]) ]);
		dom.content(this.amount, [ amount(status) ]);
		dom.content(this.warning, words.mustNotBeUnplugged(status.part)
			? [ _('Do not unplug the gateway and do not switch it off.') ] : []);
		this.move(status.state == 'downloading' ? fraction(status) : null, amount(status));
	},

	move: function(part, text) {
		this.bar.classList.toggle('zephran-unknown', part == null);
		this.fill.style.width = part == null ? '100%' : (part * 100).toFixed(1) + '%';
		if (part == null) {
			this.bar.removeAttribute('aria-valuenow');
			this.bar.removeAttribute('aria-valuetext');
			dom.content(this.spoken, []);
			return;
		}
		var percent = Math.floor(part * 100);
		this.bar.setAttribute('aria-valuenow', percent);
		this.bar.setAttribute('aria-valuetext', text);
		var spoken = _('%d percent').format(percent - percent % SPOKEN_STEP);
		if (this.spoken.textContent != spoken)
			dom.content(this.spoken, [ spoken ]);
	}
});
