// SPDX-License-Identifier: Apache-2.0
'use strict';
'require baseclass';
'require rpc';

var NOT_FOUND = 4, NO_SUCH_METHOD = 3, TRIES = 6;

var calls = {
	status: rpc.declare({ object: 'zephran', method: 'get_status' }),
	pending: rpc.declare({ object: 'zephran', method: 'get_deployment' }),
	agents: rpc.declare({ object: 'zephran', method: 'get_agents' }),
	poll: rpc.declare({ object: 'zephran', method: 'force_poll' }),
	accept: rpc.declare({ object: 'zephran', method: 'accept_deployment', params: [ 'action_id' ] }),
	postpone: rpc.declare({ object: 'zephran', method: 'postpone_deployment', params: [ 'hours' ] })
};

function kindOf(reply) {
	if (reply instanceof Error) {
		var code = (/-3200[0-9]/.exec(reply.message) || [ '' ])[0];
		return { '-32000': 'absent', '-32002': 'denied' }[code] || 'unreachable';
	}
	return { [NOT_FOUND]: 'absent', [NO_SUCH_METHOD]: 'old' }[reply] || 'unreachable';
}

/* The bus tells a failure by a number in place of the reply. */
function ask(name) {
	var given = Array.prototype.slice.call(arguments, 1);
	return calls[name].apply(null, given).catch(function(error) { return error; }).then(function(reply) {
		return L.isObject(reply) && !(reply instanceof Error) ? reply : { trouble: kindOf(reply) };
	});
}

function later(call) {
	return new Promise(function(resolve) { window.setTimeout(resolve, 1000); }).then(call);
}

/* While the daemon polls, nothing is pending for a few seconds, although it was and will be. */
function insist(call, tries) {
	return call().then(function(reply) {
		return reply.message == 'no pending deployment' && tries > 1
			? later(function() { return insist(call, tries - 1); }) : reply;
	});
}

return baseclass.extend({
	/* { status, pending }, or { trouble } with the reason why there is no status. */
	look: function() {
		return Promise.all([ ask('status'), ask('pending') ]).then(function(replies) {
			return replies[0].trouble ? replies[0] : { status: replies[0], pending: replies[1] };
		});
	},

	/* The adapters behind the gateway; none while nobody can say. */
	adapters: function() {
		return ask('agents').then(function(reply) {
			return (Array.isArray(reply.agents) ? reply.agents : []).filter(function(agent) {
				return agent.config && agent.config.parent;
			});
		});
	},

	poll: function() { return ask('poll'); },
	accept: function(action) { return insist(function() { return ask('accept', action); }, TRIES); },
	postpone: function(hours) { return insist(function() { return ask('postpone', hours); }, TRIES); }
});
