// SPDX-License-Identifier: Apache-2.0
'use strict';
/* As much of the web interface as a view needs to run, for tests and the demonstration. */

String.prototype.format = function(...given) {
	return this.replace(/%([sd%])/g, (whole, kind) => kind == '%' ? '%' : String(given.shift()));
};
window._ = text => (window.catalogue || {})[text] || text;

const dom = {
	append(node, children) {
		for (const child of Array.isArray(children) ? children : [children])
			if (child instanceof Node)
				node.appendChild(child);
			else if (child != null && Array.isArray(children))
				node.appendChild(document.createTextNode(child));
			else if (child != null)
				node.innerHTML = child;
		return node;
	},
	content(node, children) {
		while (node.firstChild)
			node.removeChild(node.firstChild);
		return dom.append(node, children);
	}
};

window.E = (tag, ...rest) => {
	const node = document.createElement(tag);
	const attributes = rest[0] && rest[0].constructor === Object ? rest.shift() : {};
	for (const [name, value] of Object.entries(attributes))
		if (typeof value == 'function')
			node.addEventListener(name, value);
		else if (value != null)
			node.setAttribute(name, value);
	return dom.append(node, rest[0]);
};

let requests = 0, waiting = [];

/* Calls of one moment go in one request. */
function send(message) {
	return new Promise((resolve, reject) => {
		waiting.push({ message, resolve, reject });
		if (waiting.length == 1)
			queueMicrotask(flush);
	});
}

async function flush() {
	const batch = waiting;
	waiting = [];
	try {
		const answer = await fetch('/ubus', { method: 'POST', body: JSON.stringify(batch.map(each => each.message)) });
		const replies = await answer.json();
		batch.forEach((each, index) => each.resolve(replies[index]));
	}
	catch (error) {
		batch.forEach(each => each.reject(error));
	}
}

const rpc = {
	declare: options => (...given) => {
		const values = {};
		(options.params || []).forEach((name, index) => values[name] = given[index]);
		const params = [window.session, options.object, options.method, values];
		return send({ jsonrpc: '2.0', id: ++requests, method: 'call', params }).then(reply => {
			if (reply.error)
				throw new Error('failed with error ' + reply.error.code + ': ' + reply.error.message);
			return reply.result.length > 1 ? reply.result[1] : reply.result[0];
		});
	}
};

const poll = {
	add(call, seconds) {
		let isBusy = false;
		window.setInterval(() => {
			if (isBusy)
				return;
			isBusy = true;
			Promise.resolve(call()).finally(() => { isBusy = false; });
		}, seconds * 1000);
	}
};

const ui = {
	createHandlerFn(context, method, ...given) {
		const call = typeof method == 'string' ? context[method] : method;
		return event => {
			event.currentTarget.disabled = true;
			const button = event.currentTarget;
			return Promise.resolve(call.apply(context, [...given, event])).finally(() => { button.disabled = false; });
		};
	}
};

function extendable(prototype) {
	const made = function() {};
	made.prototype = prototype;
	return made;
}

const modules = {
	dom, rpc, poll, ui,
	baseclass: { extend: extendable },
	view: { extend: extendable }
};

window.L = {
	bind: (call, context) => call.bind(context),
	isObject: value => value !== null && typeof value == 'object',
	hasViewPermission: () => window.mayWrite
};

async function load(name) {
	const text = await (await fetch('/luci-static/resources/' + name.replaceAll('.', '/') + '.js')).text();
	const names = [], values = [];
	for (const [, wanted, , alias] of text.matchAll(/^'require ([\w.]+)( as (\w+))?';$/gm)) {
		modules[wanted] = modules[wanted] || await load(wanted);
		names.push(alias || wanted);
		values.push(modules[wanted]);
	}
	const made = new Function(...names, text)(...values);
	return new made();
}

window.start = async name => {
	const view = await load('view.' + name);
	const nodes = await view.render(await view.load());
	dom.content(document.getElementById('view'), [nodes]);
};
