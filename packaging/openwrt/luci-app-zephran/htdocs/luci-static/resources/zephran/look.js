// SPDX-License-Identifier: Apache-2.0
'use strict';
'require baseclass';

/* The colours are the theme's; where it has none, those of the page around, or the ones that a dark page needs. */
var CSS = [
	'.zephran { overflow-wrap: anywhere; --zephran-fill: var(--primary-color-medium, #0069d6); --zephran-alarm: var(--error-color-medium, #c00); }',
	'.zephran [hidden] { display: none; }',
	'.zephran section { margin: 0 0 1.5em; }',
	'.zephran-sentence { font-size: 1.2em; }',
	/* Themes make lists and labels paler than can be read by everybody. */
	'.zephran li, .zephran label { color: inherit; }',
	'.zephran ul { padding-left: 1.2em; margin: .5em 0; }',
	'.zephran-name, .zephran-error { max-width: 100%; }',
	'.zephran-error { white-space: pre-wrap; max-height: 12em; overflow-y: auto; border-left: 3px solid var(--zephran-alarm); padding-left: .6em; }',
	'.zephran-notes { white-space: pre-wrap; max-height: 12em; overflow-y: auto; border-left: 3px solid var(--zephran-fill); padding-left: .6em; margin: .3em 0; }',
	'.zephran-notes p { margin: 0; }',
	'.zephran-row { display: flex; flex-wrap: wrap; align-items: center; gap: .5em; margin: .5em 0; }',
	'.zephran-row select { width: auto; min-width: 0; max-width: 100%; }',
	'.zephran-bar { height: 1.2em; border: 1px solid currentColor; border-radius: 4px; overflow: hidden; }',
	'.zephran-bar > div { height: 100%; width: 0; background: var(--zephran-fill); transition: width .5s linear; }',
	'.zephran-unknown > div { opacity: .5; }',
	'.zephran-warning { font-weight: bold; }',
	'.zephran-warning:empty { display: none; }',
	'.zephran-spoken { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }',
	'@media (prefers-color-scheme: dark) { .zephran { --zephran-fill: var(--primary-color-medium, #4da1f0); --zephran-alarm: var(--error-color-medium, #f66); } }',
	'@media (prefers-reduced-motion: reduce) { .zephran-bar > div { transition: none; } }'
].join('\n');

return baseclass.extend({
	render: function() {
		return E('style', [ CSS ]);
	}
});
