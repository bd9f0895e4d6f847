// SPDX-License-Identifier: Apache-2.0
'use strict';
'require baseclass';
'require zephran.words as words';

/* A text of others, which may run from right to left without turning what stands around it. */
function named(text) {
	return E('bdi', [ words.plain(text) ]);
}

function note(pair) {
	return E('p', [ E('b', [ named(pair.key) ]), ': ', E('bdi', [ words.lines(pair.value) ]) ]);
}

/* They may be long, and what scrolls must be reached by the keyboard. */
function notes(metadata) {
	return E('div', { 'class': 'zephran-notes', 'role': 'group', 'aria-label': _('Release notes'), 'tabindex': '0' },
	         metadata.map(note));
}

return baseclass.extend({
	named: named,

	/* One part of a release: "Firmware of the gateway 2.1, image, 7.3 MB", and what its makers say of it. */
	chunk: function(chunk) {
		return E('li', { 'class': 'zephran-name' }, [
			words.part(chunk.type), ' ', named(chunk.version), ', ', named(chunk.name), ', ', words.bytes(chunk.size),
			chunk.metadata ? notes(chunk.metadata) : ''
		]);
	}
});
