// What every Python module of a model has in common, in the order in which it stands there.
#pragma once

namespace orvik::view {

/// How to use it, and how values are read.
inline constexpr char k_python_head[] = R"source(#
# Python 3.9 or later, without further packages:
#
#     predict({"age": 39, ...})   the class
#     classify(row)               the class and how sure it is
#     shares(row)                 the share of every class: the mean over the trees
#
# A row has its values by the names in COLUMNS. Unknown are None, nan, the text in UNKNOWN, a name
# that is not there, and a text that training did not have. Run as a program it reads rows of the
# data on standard input and writes a line "class,confidence" each; its argument is the separator.
import bisect
import fractions
import math
import struct
import sys


def _integer(value):
    whole = int(value)
    if not isinstance(value, str) and whole != value:
        raise ValueError(f"{value}: not a whole number")
    return whole


def _single(value):
    """The nearest float of 32 bits, by one rounding also where a text lies beside the middle."""
    number = float(value)
    if isinstance(value, str) and math.isfinite(number):
        exact = fractions.Fraction(value)
        bits = struct.unpack("<Q", struct.pack("<d", number))[0]
        if bits & 0x1FFFFFFF == 0x10000000 and exact != number:
            number = math.nextafter(number, math.inf if exact > number else -math.inf)
    return struct.unpack("<f", struct.pack("<f", number))[0]


def _extended(value):
    """The nearest number with 64 significant bits."""
    exact = fractions.Fraction(value)
    if not exact:
        return exact
    step = fractions.Fraction(2) ** (
        exact.numerator.bit_length() - exact.denominator.bit_length() - 64)
    while abs(exact) >= step * 2**64:
        step *= 2
    return round(exact / step) * step


def _words(text, read):
    return [read(word) for word in text.split()]


def _places(values):
    return {value: place for place, value in enumerate(values, 1)}


)source";

inline constexpr char k_python_descent[] = R"source(
_ALL_VOTES = 0.0
for _votes in _VOTES:  # one by one: sum() rounds otherwise in some versions
    _ALL_VOTES += _votes


def _code(column, row):
    """0 for an unknown value, else its place or 1 + the number of cuts below it."""
    name, read, places, cuts = column
    unknown = 0 if places is None else places.get(UNKNOWN, 0)
    value = row.get(name)
    if value is None or value == UNKNOWN or value != value:
        return unknown
    value = read(value)
    if places is not None:
        value = places.get(value, unknown)
        if cuts is None or value == 0:
            return value
    return 1 + bisect.bisect_left(cuts, value)


class _Codes(dict):
    """Codes of a row by column, each found when it is first asked for."""

    def __init__(self, row):
        super().__init__()
        self.row = row

    def __missing__(self, i):
        self[i] = code = _code(_TESTED[i], self.row)
        return code


def _descend(at, codes):
    """The leaf below a node, or the node whose test the row has no value for."""
    while _COLUMN[at] >= 0:
        code = codes[_COLUMN[at]]
        if code == 0:
            break
        limit = _LIMIT[at]
        at = _FIRST[at] + (code > limit if limit > 0 else code != -limit if limit else code - 1)
    return at


def _ratio(part, whole):
    if whole:
        return part / whole
    return math.inf if part > 0 else math.nan


)source";

inline constexpr char k_python_spread[] =
    R"source(def _spread(start, codes, sums, decides, amount=1.0):
    """Shares a row out among the leaves: without a value it goes down every branch, in proportion
    to the training weight there. A leaf without training cases decides for its class; what is
    likely there are the shares of the nearest node above that has some, which it holds."""
    to_do = [(start, amount)]
    while to_do:
        at, part = to_do.pop()
        at = _descend(at, codes)
        weight, first = _WEIGHT[at], _FIRST[at]
        if _COLUMN[at] < 0 and decides and not weight > 0:
            sums[_LIMIT[at]] += part
            continue
        if _COLUMN[at] < 0:
            for i in range(first, first + _N[at]):
                share = part * _SHARE_WEIGHT[i]
                sums[_SHARE_CLASS[i]] += share / weight if weight > 0 else share
            continue
        for child in range(first + _N[at] - 1, first - 1, -1):
            below = _ratio(part * _WEIGHT[child], weight)
            if below != 0:
                to_do.append((child, below))


)source";

/// In its place, of a model whose leaves lean on prior shares.
inline constexpr char k_python_leaning_spread[] = R"source(def _add_leaf(at, part, sums, decides):
    """Shares lean on prior ones: of a class that has w of the weight n of a leaf they are
    (w + prior) / (n + 1). A leaf without training cases decides for its class; its shares are those
    of the nearest node above that has some, whose weight is its first share."""
    weight, first, end = _WEIGHT[at], _FIRST[at], _FIRST[at] + _N[at]
    if not weight > 0 and (decides or _N[at] == 1):
        sums[_LIMIT[at]] += part
        return
    if not weight > 0:
        weight, first = _SHARE_WEIGHT[first], first + 1
    whole = weight if decides else weight + 1
    for i in range(first, end):
        sums[_SHARE_CLASS[i]] += part * _SHARE_WEIGHT[i] / whole
    if not decides:
        for code, prior in enumerate(_PRIOR):
            sums[code] += part * prior / whole


def _spread(start, codes, sums, decides, amount=1.0):
    """Shares a row out among the leaves: without a value it goes down every branch, in proportion
    to the training weight there."""
    to_do = [(start, amount)]
    while to_do:
        at, part = to_do.pop()
        at = _descend(at, codes)
        if _COLUMN[at] < 0:
            _add_leaf(at, part, sums, decides)
            continue
        for child in range(_FIRST[at] + _N[at] - 1, _FIRST[at] - 1, -1):
            below = _ratio(part * _WEIGHT[child], _WEIGHT[at])
            if below != 0:
                to_do.append((child, below))


)source";

inline constexpr char k_python_ask[] = R"source(def _first_largest(values):
    best = 0
    for i, value in enumerate(values):
        if value > values[best]:
            best = i
    return best


def _ask(root, codes):
    """The class code of one tree and its confidence."""
    end = _descend(root, codes)
    if _COLUMN[end] >= 0:
        sums = [0.0] * len(CLASSES)
        _spread(end, codes, sums, True)
        best = _first_largest(sums)
        return best, sums[best]
    code, first = _LIMIT[end], _FIRST[end]
    if not _WEIGHT[end] > 0:
        return code, 1.0
    of_class = [_SHARE_WEIGHT[i] for i in range(first, first + _N[end]) if _SHARE_CLASS[i] == code]
    return code, sum(of_class) / _WEIGHT[end]


)source";

inline constexpr char k_python_classify[] = R"source(def classify(row):
    codes = _Codes(row)
    if not VOTES:
        code, confidence = _ask(_ROOTS[0], codes)
        return CLASSES[code], confidence
    votes = [0.0] * len(CLASSES)
    for root, amount in zip(_ROOTS, _VOTES):
        if AVERAGES:
            _spread(root, codes, votes, True, amount)
        else:
            votes[_ask(root, codes)[0]] += amount
    best = _first_largest(votes)
    return CLASSES[best], votes[best] / _ALL_VOTES


)source";

inline constexpr char k_python_predict[] = R"source(def predict(row):
    return classify(row)[0]


)source";

/// The shares; of a calibrated model those before that, under another name.
inline constexpr char k_python_shares[] = R"source((row):
    codes = _Codes(row)
    sums = [0.0] * len(CLASSES)
    for root, amount in zip(_ROOTS, _VOTES):
        _spread(root, codes, sums, VOTES and AVERAGES, amount)
    return {c: s / _ALL_VOTES for c, s in zip(CLASSES, sums)}


)source";

/// Before k_python_classify, of a model whose leaves lean on prior shares.
inline constexpr char k_python_ask_by_shares[] = R"source(def _ask_by_shares(root, codes):
    sums = [0.0] * len(CLASSES)
    _spread(root, codes, sums, False)
    best = _first_largest(sums)
    return best, sums[best]


)source";

/// What shares are worth as probabilities, behind the maps; and the answers.
inline constexpr char k_python_calibration[] = R"source(
def _mapped(by, share):
    """Linear between knots, or 1 / (1 + exp(a share + b))."""
    x, y, a, b = by
    if not x:
        at = a * share + b
        return math.exp(-at) / (1 + math.exp(-at)) if at >= 0 else 1 / (1 + math.exp(at))
    above = bisect.bisect_right(x, share)
    if above == 0 or above == len(x):
        return y[0] if above == 0 else y[-1]
    part = (share - x[above - 1]) / (x[above] - x[above - 1])
    return min(y[above - 1] + part * (y[above] - y[above - 1]), y[above])


def shares(row):
    """Calibrated: of two classes by one map; of more what the maps give is divided by its sum, and
    where all give 0 the shares stay as they are."""
    plain = _plain_shares(row)
    found = list(plain.values())
    if len(found) == 3:
        found[2] = _mapped(_MAPS[0], found[2])
        found[:2] = [0.0, 1 - found[2]]
        return dict(zip(CLASSES, found))
    mapped = [_mapped(by, share) for by, share in zip(_MAPS, found[1:])]
    total = 0.0
    for value in mapped:
        total += value
    if not total > 0:
        return plain
    return dict(zip(CLASSES, [0.0] + [value / total for value in mapped]))


def classify(row):
    found = list(shares(row).values())
    best = _first_largest(found)
    return CLASSES[best], found[best]


)source";

inline constexpr char k_python_main[] = R"source(def _main(separator=","):
    sys.stdin.reconfigure(encoding=ENCODING, newline="\n")
    sys.stdout.reconfigure(encoding=ENCODING)
    # A row may lack the class, or the class and the weight.
    forms = [COLUMNS, [c for c in COLUMNS if c != CLASS],
             [c for c in COLUMNS if c not in (CLASS, WEIGHTS)]]
    for line in sys.stdin:
        line = line.rstrip("\n")
        line = line[:-1] if line.endswith("\r") else line
        fields = [field.strip(" ") for field in line.split(separator)]
        form = next((f for f in forms if len(f) == len(fields)), None)
        if form is None:
            sys.exit(f"bad row: {line}")
        name, confidence = classify(dict(zip(form, fields)))
        print(f"{name}{separator}{confidence:g}")


if __name__ == "__main__":
    _main(*sys.argv[1:])
)source";

/// Between k_python_descent and k_python_classify, of a model that decides by costs.
inline constexpr char k_python_costs[] = R"source(def _cheapest(shares):
    """The known class of the least expected cost, the first of equals: sums that differ by their
    rounding are equal."""
    if not any(shares[1:]):
        return 0
    sums = []
    for predicted in range(1, len(CLASSES)):
        total = 0.0
        for actual in range(1, len(CLASSES)):
            total += shares[actual] * _COSTS[actual * len(CLASSES) + predicted]
        sums.append(total)
    least = min(sums) * (1 + 1e-9)
    return 1 + next((i for i, total in enumerate(sums) if total <= least), -1)


def _ask_by_costs(root, codes):
    sums = [0.0] * len(CLASSES)
    _spread(root, codes, sums, False)
    best = _cheapest(sums)
    return best, sums[best]


)source";

}  // namespace orvik::view
