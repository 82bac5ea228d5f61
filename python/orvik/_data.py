"""Frames, arrays and files as columns for the library."""

import ast
import decimal
import numbers
import os
import sys

import numpy as np
from sklearn.utils import check_array

from . import _orvik

UNKNOWN = "?"
# What cells of objects may be, beside None.
_NUMBERS = (numbers.Real, decimal.Decimal)
_CELLS = (str, bytes, bool, np.bool_, *_NUMBERS)
_INT32 = np.iinfo(np.int32)
_UINT32 = np.iinfo(np.uint32)


class Column:
    """One column: an array of numbers, or of places in a list of texts.

    Attributes
    ----------
    name : str
    values : ndarray of shape (n,)
        Numbers, or the places of the cells in ``texts``, below 0 for unknown ones.
    unknown : ndarray of bool or None
        Marks unknown cells.
    texts : list of str or None
    kind : {"number", "category", "ordered"}
    """

    __slots__ = ("name", "values", "unknown", "texts", "kind")

    def __init__(self, name, values, unknown=None, texts=None, kind="number"):
        self.name, self.values, self.unknown, self.texts, self.kind = name, values, unknown, texts, kind

    def parts(self):
        return self.values, self.unknown, self.texts


def text_of(value, ordered=False):
    """The text that a value has in models: its own, or where a file could not hold that its repr.

    No two texts become one: what begins with a quote is written as its repr too.
    """
    text = value if isinstance(value, str) else str(value)
    odd = (not text or text != text.strip(" ") or text == UNKNOWN or text[0] in "'\"" or "\n" in text
           or "\0" in text or not text.isprintable() and not _encodes(text))
    if ordered and ";" in text:
        return repr(text).replace(";", "\\x3b")
    return repr(text) if odd else text


def name_of(name):
    """The name that a column has in models: its own, or where a line could not hold that its repr."""
    return repr(name) if "\n" in name or "\0" in name or not _encodes(name) else name


def named(name):
    """The name that name_of() was given."""
    plain = text_from(name)
    return plain if name_of(plain) == name else name


def text_from(text):
    """The text that text_of() was given."""
    try:
        return ast.literal_eval(text) if text[:1] in ("'", '"') else text
    except (SyntaxError, ValueError):
        return text


def _encodes(text):
    try:
        text.encode()
    except UnicodeEncodeError:
        return False
    return True


def is_unknown(value):
    """Whether a cell of an array of objects is None, NaN, NA or NaT."""
    if value is None or type(value).__name__ in ("NAType", "NaTType"):
        return True
    return isinstance(value, numbers.Number) and bool(value != value)


def native(values):
    """Numbers in a type that the library reads; it follows strides by itself."""
    if values.dtype.kind == "f" and values.dtype.itemsize == 2:
        return values.astype(np.float32)
    return values if values.dtype.isnative else values.astype(values.dtype.newbyteorder("="))


def file_name(path):
    """The text of a path."""
    try:
        return os.fsdecode(path)
    except TypeError:
        raise TypeError(f"path must be a text or a path; got {path!r}") from None


def number_or_none(name, value, least=0, most=None):
    """An integer parameter that may be None, or ValueError."""
    if value is None:
        return None
    if (not isinstance(value, numbers.Integral) or isinstance(value, bool) or value < least
            or most is not None and value > most):
        limit = f"of at least {least}" if most is None else f"from {least} to {most}"
        raise ValueError(f"{name} must be None or an integer {limit}; got {value!r}")
    return int(value)


def _refuse_type(name, dtype):
    raise TypeError(f"X: column {name!r} has the dtype {dtype}: numbers, categories, texts and booleans "
                    "are read; turn dates into numbers or texts first")


def _places(cells):
    """Places of the cells among their different values, and these; by pandas, where it is in use."""
    pandas = sys.modules.get("pandas")
    if pandas is not None and isinstance(cells, np.ndarray):
        # With a cell that is no text: pandas' table of texts reads freed memory of half surrogate pairs.
        found, values = pandas.factorize(np.concatenate((cells, [None])))
        found = found[:-1]
        return (found, [*values]) if (found >= 0).all() else (np.where(found < 0, len(values), found),
                                                              [*values, None])
    places, found = {}, np.empty(len(cells), np.int64)
    for i, value in enumerate(cells):
        found[i] = places.setdefault((value.__class__, value) if value == value else None, len(places))
    return found, [None if key is None else key[1] for key in places]


def different_texts(texts):
    """The different ones of an array of texts in their order, and the place of each among them."""
    found, values = _places(texts)
    order = sorted(range(len(values)), key=values.__getitem__)
    place_of = np.empty(len(values), np.int64)
    place_of[order] = np.arange(len(values))
    different = np.empty(len(values), object)
    different[:] = [values[i] for i in order]
    return different, place_of[found]


def _object_column(name, cells):
    """Numbers where all known cells are numbers, else texts."""
    try:
        places, values = _places(cells)
    except (TypeError, ValueError):  # a value without a hash, or NA, which is not even itself
        cells = [None if is_unknown(v) else v for v in cells]
        for value in cells:
            if not isinstance(value, (str, bytes, numbers.Number, type(None))) and (
                    type(value).__hash__ is None):
                raise TypeError(f"X: column {name!r}: argument must be a string or a number, not "
                                f"{type(value).__name__!r}") from None
        places, values = _places(cells)
    known = [not is_unknown(v) for v in values]
    kinds = {type(v) for v, k in zip(values, known) if k}
    for kind in kinds:
        if not issubclass(kind, _CELLS):
            if issubclass(kind, (numbers.Complex, np.generic)) or kind.__name__ in (
                    "date", "datetime", "time", "timedelta", "Timestamp", "Timedelta"):
                _refuse_type(name, kind.__name__)
            raise TypeError(f"X: column {name!r}: argument must be a string or a number, not "
                            f"{kind.__name__!r}")
    if kinds and all(issubclass(k, _NUMBERS) and not issubclass(k, bool) for k in kinds):
        table = np.array([float(v) if k else np.nan for v, k in zip(values, known)])
        if all(issubclass(k, (numbers.Integral, np.integer)) for k in kinds):
            whole = np.array([int(v) if k else 0 for v, k in zip(values, known)])
            if whole.dtype.kind in "iu":
                return Column(name, whole[places], None if all(known) else ~np.array(known)[places])
        return Column(name, table[places])
    texts = [text_of(v) if k else UNKNOWN for v, k in zip(values, known)]
    return Column(name, np.where(known, np.arange(len(known)), -1)[places] if known else places, None,
                  texts, "category")


def array_column(name, values):
    """A column of a one-dimensional array of whatever dtype."""
    kind = values.dtype.kind
    if kind in "iuf":
        return Column(name, native(values))
    if kind == "b":
        return Column(name, values, None, ["False", "True"], "category")
    if kind in "SU":
        different, places = np.unique(values, return_inverse=True)
        return Column(name, places, None, [text_of(str(v)) for v in different], "category")
    if kind == "O":
        return _object_column(name, values)
    return _refuse_type(name, values.dtype)


def _series_column(name, series):
    dtype = series.dtype
    if hasattr(series, "cat"):
        categories = series.cat.categories
        codes = np.asarray(series.cat.codes)
        if categories.dtype.kind in "iuf" and not series.cat.ordered:  # numbers stay numbers
            plain = getattr(categories.dtype, "numpy_dtype", categories.dtype)
            table = np.append(native(categories.to_numpy(dtype=plain)), plain.type(0))
            return Column(name, table[codes], codes < 0 if (codes < 0).any() else None, None, "category")
        if categories.dtype.kind in "mM":
            _refuse_type(name, categories.dtype)
        ordered = bool(series.cat.ordered)
        return Column(name, codes, None, [text_of(c, ordered) for c in categories],
                      "ordered" if ordered else "category")
    if isinstance(dtype, np.dtype):
        if dtype.kind == "O":
            return _object_column(name, series.to_numpy())
        return array_column(name, series.to_numpy())
    if hasattr(series.array, "_mask"):  # nullable integers, floats and booleans
        column = array_column(name, series.array._data)
        column.unknown = series.array._mask
        return column
    if dtype.kind in "mM" or not hasattr(dtype, "na_value"):
        _refuse_type(name, dtype)
    if getattr(dtype, "name", "").startswith("Sparse"):
        return array_column(name, series.sparse.to_dense().to_numpy())
    if dtype.kind == "O" or getattr(dtype, "name", "").startswith("string"):
        return _object_column(name, series.to_numpy(dtype=object))
    return _refuse_type(name, dtype)


def check_finite_array(X, **how):
    """check_array as its versions want it, letting NaN pass."""
    try:
        return check_array(X, dtype=None, ensure_all_finite="allow-nan", **how)
    except TypeError as failure:
        if "ensure_all_finite" not in str(failure):
            raise
    return check_array(X, dtype=None, force_all_finite="allow-nan", **how)


def checked_array(X, estimator):
    """As check_finite_array(), or what X may be."""
    try:
        return check_finite_array(X, estimator=estimator)
    except ValueError as failure:
        if "setting an array element" not in str(failure):
            raise
        raise ValueError("X must be a DataFrame, a two-dimensional array or a list of rows of equal "
                         f"lengths; got a {type(X).__name__}: {failure}") from None


def is_frame(X):
    return hasattr(X, "iloc") and hasattr(X, "dtypes") and hasattr(X, "columns")


def is_arrow(X):
    return hasattr(X, "__arrow_c_stream__") or hasattr(X, "__arrow_c_array__")


def columns_of(X, estimator):
    """The columns of X, none of them copied where it has numbers, and the number of rows.

    Raises ValueError or TypeError as scikit-learn does for what is no table of values.
    """
    if isinstance(X, Table):
        return [X._column(i) for i in X._inputs()], X.n_rows
    if is_arrow(X) and not is_frame(X):
        found = [Column(name, values, unknown, None if texts is None else [text_of(t, ordered) for t in texts],
                        "number" if texts is None else "ordered" if ordered else "category")
                 for name, values, unknown, texts, ordered in _orvik.arrow_columns(X)]
        n = len(found[0].values) if found else 0
    elif is_frame(X):
        if X.columns.nlevels > 1:
            raise ValueError(f"X: columns must have names of one level, not of {X.columns.nlevels}: "
                             "columns.to_flat_index() makes one of them")
        found = [_series_column(str(name), X.iloc[:, j]) for j, name in enumerate(X.columns)]
        n = len(X)
    else:
        masked = np.ma.getmask(X)
        X = checked_array(X, estimator)
        found = [array_column(f"x{j}", X[:, j]) for j in range(X.shape[1])]
        if masked is not np.ma.nomask:
            for j, column in enumerate(found):
                column.unknown = masked[:, j] | (False if column.unknown is None else column.unknown)
        return found, X.shape[0]
    if not found:
        raise ValueError(f"0 feature(s) (shape=({n}, 0)) while a minimum of 1 is required.")
    if n == 0:
        raise ValueError(f"Found array with 0 sample(s) (shape=(0, {len(found)})) while a minimum of 1 "
                         "is required.")
    return found, n


def number_type(values, unknown):
    """The narrowest type of the library that has the numbers exactly, of those of their kind."""
    if values.dtype.kind == "f":
        return {2: "float", 4: "float", 8: "double"}.get(values.dtype.itemsize, "long double")
    known = values if unknown is None else values[~unknown.astype(bool)]
    if known.size == 0 or known.min() > _INT32.min and known.max() <= _INT32.max:
        return "integer"
    if known.min() >= 0 and known.max() <= _UINT32.max:
        return "uinteger"
    return "long double" if np.abs(known.astype(np.float64)).max() > 2**53 else "double"


def type_of(column):
    if column.texts is None:
        return number_type(column.values, column.unknown)
    return "string" if column.kind != "ordered" else "ostring:" + ";".join(column.texts)


def chosen_categories(columns, chosen):
    """Marks the columns that `categorical_features` chooses; numbers among them become categories."""
    if isinstance(chosen, str):
        if chosen != "from_dtype":
            raise ValueError("categorical_features must be 'from_dtype', or names, indices or a mask of "
                             f"columns; got {chosen!r}")
        return
    wanted = np.atleast_1d(np.asarray(chosen if chosen is not None else [], dtype=object))
    names = [c.name for c in columns]
    if all(isinstance(w, (bool, np.bool_)) for w in wanted) and len(wanted):
        if len(wanted) != len(columns):
            raise ValueError(f"categorical_features: a mask of {len(wanted)} for {len(columns)} columns")
        places = set(np.flatnonzero(wanted.astype(bool)))
    else:
        places = set()
        for w in wanted:
            at = names.index(w) if isinstance(w, str) and w in names else w
            if not isinstance(at, numbers.Integral) or not -len(columns) <= at < len(columns):
                raise ValueError(f"categorical_features: {w!r} is no column of X")
            places.add(at % len(columns))
    for j in places:
        if columns[j].kind == "number":
            columns[j].kind = "category"


class Table:
    """A table of files, as the programs load it.

    Made by :func:`load_table`. Estimators take it in place of X and y.

    Attributes
    ----------
    n_rows : int
    names : list of str
        Of all columns, in order.
    roles : list of str
        "discrete", "continuous", "class", "weights" or "ignore".
    types : list of str
        Of the values, as metadata files have them.
    """

    def __init__(self, table):
        self._table = table
        columns = table.columns()
        self.n_rows = table.n_rows
        self.names = [c["name"].decode(errors="backslashreplace") for c in columns]
        self.roles = [c["role"] for c in columns]
        self.types = [c["type"] for c in columns]
        self._facts = columns

    def __repr__(self):
        return f"<orvik.Table {self._table.name!r}: {self.n_rows} rows, {len(self.names)} columns>"

    def __len__(self):
        return self.n_rows

    @property
    def shape(self):
        """Rows, and columns that models predict from."""
        return self.n_rows, len(self._inputs())

    def _inputs(self):
        return [i for i, role in enumerate(self.roles) if role not in ("class", "weights", "ignore")]

    def _column(self, i):
        values, codes = self._table.values(i), self._table.codes(i)
        if self._facts[i]["numeric"]:
            whole = "integer" in self.types[i]
            lookup = np.array([0 if whole else np.nan, *values], dtype=np.int64 if whole else np.float64)
            if self.types[i] == "long double":
                lookup = lookup.astype(np.longdouble)
            unknown = codes == 0
            return Column(self.names[i], lookup[codes], unknown if whole and unknown.any() else None,
                          None, "number" if self.roles[i] == "continuous" else "category")
        texts = [v.decode(errors="surrogateescape") for v in values]
        return Column(self.names[i], codes.astype(np.int64) - 1, None, texts,
                      "ordered" if self._facts[i]["ordered"] else "category")

    def __getitem__(self, name):
        """The values of a column as an array: numbers, or texts with None for unknown ones."""
        if name not in self.names:
            raise KeyError(f"the table has no column {name!r}; it has {', '.join(map(repr, self.names))}")
        column = self._column(self.names.index(name))
        if column.texts is None:
            return column.values
        return np.array([*column.texts, None], dtype=object)[column.values]

    def to_pandas(self):
        """A DataFrame of all columns; discrete ones are categories, ordered ones in their order."""
        import pandas as pd

        frame = {}
        for i, name in enumerate(self.names):
            column = self._column(i)
            if column.texts is not None and self.roles[i] != "class":
                cells = pd.Categorical.from_codes(column.values, column.texts, column.kind == "ordered")
            elif column.unknown is not None:
                cells = pd.array(column.values, dtype="Int64")
                cells[column.unknown] = pd.NA
            else:
                cells = self[name]
            frame[name] = cells
        return pd.DataFrame(frame)

    def save(self, path):
        """Writes the binary form of tables, which ``orvcmd -bd`` and :func:`load_table` read."""
        self._table.save(file_name(path))


def load_table(path, data=None, *, separator=",", unknown=UNKNOWN, rescale=True, own_unknown=False,
               n_jobs=None):
    """Load a table as the programs do.

    Parameters
    ----------
    path : str or path
        Metadata (``orvcmd -fm``); without `data` a table in the binary form (``-bd``).
    data : str or path, optional
        The rows (``-fd``). By default the file of the name of `path` with ``.data`` at its end
        where `path` ends in ``.names``.
    separator : str, default=","
        One character (``-sep``).
    unknown : str, default="?"
        What stands for an unknown value.
    rescale : bool, default=True
        Scale case weights so that they sum to the number of rows (False: ``-norescale``).
    own_unknown : bool, default=False
        Unknown cells of text columns are a value of their own (``-ownunk``).
    n_jobs : int, optional
        Threads; by default as many as the machine has.

    Returns
    -------
    Table

    Examples
    --------
    >>> import orvik
    >>> table = orvik.load_table("examples/golf.names")
    >>> table.shape, table.roles[-1]
    ((14, 4), 'class')
    """
    path = file_name(path)
    if not isinstance(separator, str) or len(separator.encode()) != 1:
        raise ValueError(f"separator must be one character of ASCII; got {separator!r}")
    if not isinstance(unknown, str):
        raise ValueError(f"unknown must be a text; got {unknown!r}")
    data = None if data is None else file_name(data)
    if data is None and path.endswith(".names"):
        data = path[:-len(".names")] + ".data"
    for file in (path, data):
        if file is not None:
            open(file, "rb").close()  # OSError, if need be
    workers = n_workers(n_jobs)
    if data is None:
        return Table(_orvik.Table.read(path, workers))
    name = path.rsplit("/", 1)[-1].rsplit(".", 1)[0]
    return Table(_orvik.Table.load(name, path, data, separator, unknown, bool(rescale),
                                   bool(own_unknown), workers))


def n_workers(n_jobs):
    """The threads that ``n_jobs`` asks for: None for all of the machine, -1 too, -2 for one fewer."""
    if n_jobs is None:
        return 0
    if not isinstance(n_jobs, numbers.Integral) or isinstance(n_jobs, bool) or n_jobs == 0:
        raise ValueError(f"n_jobs must be None or an integer other than 0; got {n_jobs!r}")
    if n_jobs > 0:
        return min(int(n_jobs), 256)
    have = len(os.sched_getaffinity(0)) if hasattr(os, "sched_getaffinity") else os.cpu_count()
    return max(1, have + 1 + int(n_jobs))
