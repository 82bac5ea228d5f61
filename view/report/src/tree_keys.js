// The keyboard in the tree: arrows walk it as in any tree of the desktop.
//   left    closes the node, or goes to its father     right   opens it, or goes to its first child
//   up,down the neighbours on the same level           Home    the root
//   Enter   selects; again, opens or closes            + - 0   zoom in, out, to fit

export function listenToKeys(view) {
  const acts = {
    ArrowLeft(node) {
      if (view.layout.isOpen(node)) view.toggle(node);
      else if (view.tree.parent[node] >= 0) return view.tree.parent[node];
      return node;
    },
    ArrowRight(node) {
      if (view.tree.isLeaf(node)) return node;
      if (view.layout.isOpen(node)) return view.tree.first[node];
      view.toggle(node);
      return node;
    },
    ArrowUp: (node) => view.layout.beside(node, -1),
    ArrowDown: (node) => view.layout.beside(node, 1),
    Home: () => 0,
    Enter(node) {
      if (view.state.selected === node) view.toggle(node);
      return node;
    },
    ' ': (node) => node,
    '+': (node) => (view.zoomBy(1.3), null),
    '-': (node) => (view.zoomBy(1 / 1.3), null),
    0: (node) => (view.fit(), null),
  };
  view.picture.addEventListener('keydown', (event) => {
    const act = acts[event.key];
    if (!act || event.ctrlKey || event.metaKey || event.altKey) return;
    event.preventDefault();
    const to = act(view.state.focused ?? view.state.selected);
    if (to === null) return;
    view.select(to);
    view.focus(to);
  });
}
