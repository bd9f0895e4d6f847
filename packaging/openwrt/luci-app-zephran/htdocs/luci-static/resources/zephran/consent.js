// SPDX-License-Identifier: Apache-2.0
'use strict';
'require baseclass';
'require dom';
'require ui';
'require zephran.daemon as daemon';
'require zephran.words as words';

var HOURS = [ 4, 12, 24, 72, 168 ];

function button(kind, text, handler) {
	return E('button', { 'type': 'button', 'class': 'btn cbi-button cbi-button-' + kind, 'click': handler }, [ text ]);
}

function hoursChoice() {
	return E('select', { 'id': 'zephran-hours', 'class': 'cbi-input-select' }, HOURS.map(function(hours) {
		return E('option', { 'value': hours },
		         [ hours < 48 ? _('%d hours').format(hours) : _('%d days').format(hours / 24) ]);
	}));
}

/* What a person who may decide can do about one release. Which one is fixed when they begin to. */
return baseclass.extend({
	render: function(refresh) {
		this.refresh = refresh;
		this.message = E('p', { 'role': 'alert', 'data-area': 'message' });
		this.choices = E('div', { 'data-area': 'choices' });
		return E('div', [ this.choices, this.message ]);
	},

	/* action: the id of what is shown, or null with nothing to decide about. */
	update: function(action) {
		if (action === this.action)
			return;
		if (this.confirming && action != null)
			this.say(_('Another update has arrived meanwhile. Please look at it before you install it.'));
		else if (action != null)
			this.say('');
		this.action = action;
		this.offer();
	},

	say: function(text) {
		if (this.message.textContent != text)
			dom.content(this.message, [ text ]);
	},

	offer: function() {
		var hadFocus = this.choices.contains(document.activeElement);
		this.confirming = false;
		if (this.action == null) {
			dom.content(this.choices, []);
			return;
		}
		var hours = hoursChoice();
		var install = button('action important', _('Install now'), ui.createHandlerFn(this, 'confirm'));
		dom.content(this.choices, [
			E('div', { 'class': 'zephran-row' }, [ install ]),
			E('div', { 'class': 'zephran-row' }, [
				E('label', { 'for': 'zephran-hours' }, [ _('Not before') ]), hours,
				button('neutral', _('Postpone'), ui.createHandlerFn(this, 'postpone', hours))
			])
		]);
		if (hadFocus)
			install.focus();
	},

	confirm: function() {
		var question = E('p', { 'id': 'zephran-question', 'tabindex': '-1' },
			[ _('Install this update now? The gateway may restart and the internet connection may be away for some minutes.') ]);
		this.confirming = true;
		this.say('');
		dom.content(this.choices, [ E('div', { 'role': 'group', 'aria-labelledby': 'zephran-question' }, [
			question,
			E('div', { 'class': 'zephran-row' }, [
				button('neutral', _('Back'), ui.createHandlerFn(this, 'offer')),
				button('action important', _('Yes, install it now'), ui.createHandlerFn(this, 'accept', this.action))
			])
		]) ]);
		question.focus();
	},

	accept: function(action) {
		return daemon.accept(action).then(L.bind(function(reply) {
			if (action !== this.action)
				return;
			this.answer(reply, _('You have agreed. The installation begins within a few seconds.'));
		}, this)).then(this.refresh);
	},

	postpone: function(hours) {
		return daemon.postpone(Number(hours.value)).then(L.bind(function(reply) {
			this.answer(reply, _('The update is postponed.'));
		}, this)).then(this.refresh);
	},

	answer: function(reply, success) {
		this.confirming = false;
		this.say(reply.success ? success : this.refusal(reply));
		this.offer();
	},

	refusal: function(reply) {
		if (reply.trouble)
			return reply.trouble == 'denied' ? _('You are not allowed to do this.') : words.absence(reply.trouble, false);
		switch (reply.message) {
		case 'another deployment is pending':
			return _('Another update has arrived meanwhile. Please look at it before you install it.');
		case 'no pending deployment':
			return _('This update is not pending any more.');
		}
		return words.plain(reply.message);
	}
});
