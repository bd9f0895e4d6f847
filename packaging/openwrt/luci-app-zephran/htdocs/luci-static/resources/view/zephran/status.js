// SPDX-License-Identifier: Apache-2.0
'use strict';
'require view';
'require poll';
'require dom';
'require ui';
'require zephran.consent as consent';
'require zephran.daemon as daemon';
'require zephran.look as look';
'require zephran.progress as progress';
'require zephran.release as release';
'require zephran.words as words';

/* Seconds between two questions to the daemon, while something moves and else. */
var BUSY = 1, CALM = 3, ADAPTERS = 30;
var MOVING = [ 'downloading', 'verifying', 'installing', 'reporting' ];
var RESTING = [ 'idle', 'backoff', 'dormant' ];

function section(area, title) {
	return E('section', { 'data-area': area, 'aria-labelledby': 'zephran-' + area, 'hidden': '' },
	         [ E('h3', { 'id': 'zephran-' + area }, [ title ]), E('div') ]);
}

function fill(node, children) {
	node.hidden = children.length == 0;
	var text = E('div', children);
	if (text.innerHTML != node.lastChild.innerHTML)
		dom.content(node.lastChild, children);
}

return view.extend({
	handleSave: null,
	handleSaveApply: null,
	handleReset: null,

	load: function() {
		return daemon.look();
	},

	render: function(seen) {
		var mayDecide = L.hasViewPermission() === true;
		this.sentence = E('p', { 'class': 'zephran-sentence', 'role': 'status', 'data-area': 'sentence' });
		this.release = section('release', _('The update'));
		this.outcome = section('outcome', _('Last update'));
		this.adapters = section('adapters', _('Adapters behind the gateway'));
		this.ask = mayDecide ? E('button', {
			'type': 'button', 'class': 'btn cbi-button cbi-button-neutral', 'hidden': '',
			'click': ui.createHandlerFn(this, 'handlePoll')
		}, [ _('Look for updates now') ]) : null;
		this.consent = mayDecide ? consent.render(L.bind(this.refresh, this)) : '';
		var page = E('div', { 'class': 'zephran' }, [
			look.render(), E('h2', [ _('Firmware updates') ]), this.sentence, progress.render(),
			this.release, this.consent, this.ask || '', this.outcome, this.adapters
		]);
		this.mayDecide = mayDecide;
		this.show(seen);
		this.showAdapters();
		poll.add(L.bind(this.tick, this), BUSY);
		return page;
	},

	tick: function() {
		this.ticks = (this.ticks || 0) + 1;
		if (this.ticks % ADAPTERS == 0)
			this.showAdapters();
		return this.isBusy || this.ticks % CALM == 0 ? this.refresh() : Promise.resolve();
	},

	refresh: function() {
		return daemon.look().then(L.bind(this.show, this));
	},

	handlePoll: function() {
		return daemon.poll().then(L.bind(this.refresh, this));
	},

	show: function(seen) {
		if (seen.trouble) {
			this.showTrouble(seen.trouble);
			return;
		}
		this.isBusy = MOVING.indexOf(seen.status.state) >= 0;
		this.forgetAnswer(seen.status.last_result || {});
		this.say(words.state(seen.status), seen.status.delay_until);
		progress.update(seen.status);
		this.showRelease(seen);
		this.showOutcome(seen.status);
		if (this.ask)
			this.ask.hidden = RESTING.indexOf(seen.status.state) < 0;
	},

	/* What was answered to a click is old news as soon as something comes of it. */
	forgetAnswer: function(result) {
		if (this.mayDecide && (this.isBusy || result.time != this.ended))
			consent.say('');
		this.ended = result.time;
	},

	/* An update that was under way is remembered: the gateway restarts for it. */
	showTrouble: function(trouble) {
		this.say(words.absence(trouble, this.isBusy));
		progress.update({});
		[ this.release, this.outcome, this.adapters ].forEach(function(node) { fill(node, []); });
		if (this.mayDecide) {
			consent.update(null);
			this.ask.hidden = true;
		}
	},

	say: function(text, delay) {
		if (delay)
			text += ' ' + _('Not before %s.').format(words.time(delay));
		if (this.sentence.textContent != text)
			dom.content(this.sentence, [ text ]);
	},

	showRelease: function(seen) {
		var pending = seen.pending;
		if (pending.success) {
			fill(this.release, [ E('ul', pending.chunks.map(release.chunk)) ]);
			this.decide(pending.action_id);
		}
		/* In the few seconds of a poll nothing is pending, although it was and will be. */
		else if (seen.status.state != 'polling') {
			fill(this.release, []);
			this.decide(null);
		}
	},

	decide: function(action) {
		if (this.mayDecide)
			consent.update(action);
	},

	showOutcome: function(status) {
		var lines = [], result = status.last_result, error = status.last_error;
		if (result)
			lines.push(E('p', [ words.result(result.result), ' ', words.time(result.time) ]));
		if (error) {
			lines.push(E('p', [ _('The last error:'), ' ', words.time(error.time) ]));
			lines.push(E('p', { 'class': 'zephran-error', 'tabindex': '0' }, [ release.named(error.text) ]));
			lines.push(E('p', [ words.advice(error.status) ]));
		}
		fill(this.outcome, lines);
	},

	showAdapters: function() {
		return daemon.adapters().then(L.bind(function(agents) {
			fill(this.adapters, agents.length ? [ E('ul', agents.map(function(agent) {
				return E('li', { 'class': 'zephran-name' }, [
					release.named(agent.config.device_name || agent.id), ': ',
					_('firmware'), ' ', release.named(agent.config.firmware_version || '?')
				]);
			})) ] : []);
		}, this));
	}
});
