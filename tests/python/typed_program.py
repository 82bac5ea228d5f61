"""What mypy says of programs that use the package: the lines that are wrong say so."""
import orvik


def typed() -> None:
    model: orvik.TreeClassifier = orvik.TreeClassifier(pruning="repg", max_depth=3).fit([[1.0]], [1])
    shares: float = float(model.predict_proba([[1.0]])[0, 0])
    forest = orvik.ForestClassifier(n_estimators=5, progress=lambda rows, nodes, trees: None)
    nodes: int = forest.tree(0).node_count + int(shares)
    nodes += orvik.TreeClassifier(costs={(0, 1): 5}, calibrate="platt").explain([[1.0]]).values.shape[1]
    orvik.TreeClassifier(calibrate="hard")  # type: ignore[arg-type]
    orvik.TreeClassifier(pruning="hard")  # type: ignore[arg-type]
    orvik.load_model(nodes)  # type: ignore[arg-type]
    text: int = model.to_text()  # type: ignore[assignment]
    print(text)
