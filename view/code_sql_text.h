// What every SQL query of a model has in common, in the order in which it stands there. Texts
// between % are put in by the writer.
#pragma once

namespace orvik::view {

inline constexpr char k_reached[] = R"source(
  -- From a node to its branches; without a value down all of them, in proportion to their weights;
  -- `value` is what the node asks for.
  reached(orvik_row, tree, node, part, shared, value) AS (
    SELECT a.orvik_row, t.tree, b.node, %WHOLE%, 0,
           %VALUE%
    FROM asked AS a CROSS JOIN trees AS t CROSS JOIN branches AS b
    WHERE b.node = t.root AND b.father = -1
    UNION ALL
    SELECT r.orvik_row, r.tree, b.node,
           CASE WHEN r.value IS NULL THEN r.part * b.weight / NULLIF(b.whole, 0) ELSE r.part END,
           CASE WHEN r.value IS NULL THEN 1 ELSE r.shared END,
           %VALUE%
    FROM reached AS r CROSS JOIN branches AS b CROSS JOIN asked AS a
    WHERE b.father = r.node AND a.orvik_row = r.orvik_row
      AND CASE WHEN r.value IS NULL THEN b.weight <> 0 OR b.whole = 0
               ELSE (b.above IS NULL OR r.value > b.above)
                    AND (b.up_to IS NULL OR r.value <= b.up_to)
                    AND (b.other_than IS NULL OR r.value <> b.other_than) END),)source";

inline constexpr char k_found[] = R"source(
  parts AS (
    SELECT r.orvik_row, r.tree, s.class, r.part * s.weight / s.whole AS share,
           ROW_NUMBER() OVER (PARTITION BY r.orvik_row, r.tree, s.class ORDER BY r.node) AS place
    FROM reached AS r CROSS JOIN leaf_shares AS s
    WHERE r.shared = 1 AND s.node = r.node),
  sums(orvik_row, tree, class, place, total) AS (
    SELECT orvik_row, tree, class, place, share FROM parts WHERE place = 1
    UNION ALL
    SELECT s.orvik_row, s.tree, s.class, p.place, s.total + p.share
    FROM sums AS s CROSS JOIN parts AS p
    WHERE p.orvik_row = s.orvik_row AND p.tree = s.tree AND p.class = s.class
      AND p.place = s.place + 1),
  totals AS (
    SELECT orvik_row, tree, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row, tree, class ORDER BY place DESC) AS from_last
    FROM sums),
  ranked AS (
    SELECT orvik_row, tree, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row, tree ORDER BY total DESC, class) AS place
    FROM totals WHERE from_last = 1 AND total > 0),
  found AS (
    SELECT r.orvik_row, r.tree, l.class, l.confidence
    FROM reached AS r CROSS JOIN leaves AS l WHERE r.shared = 0 AND l.node = r.node
    UNION ALL
    SELECT orvik_row, tree, class, total FROM ranked WHERE place = 1))source";

inline constexpr char k_select[] = R"source(
SELECT n.*, c.name AS predicted, COALESCE(f.confidence, 0) AS confidence
FROM numbered AS n LEFT JOIN %FOUND% AS f ON f.orvik_row = n.orvik_row
  LEFT JOIN classes AS c ON c.code = COALESCE(f.class, 0)
ORDER BY n.orvik_row;
)source";

// A tree that finds no class, which it cannot where it was grown on no case, votes for none.
inline constexpr char k_vote[] = R"source(,
  -- Every tree has one vote; of equals the first class is found.
  votes AS (
    SELECT n.orvik_row, COALESCE(f.class, 0) AS class, COUNT(*) AS votes
    FROM numbered AS n CROSS JOIN trees AS t
      LEFT JOIN found AS f ON f.orvik_row = n.orvik_row AND f.tree = t.tree
    GROUP BY n.orvik_row, COALESCE(f.class, 0)))source";

inline constexpr char k_most_votes[] = R"source(,
  elections AS (
    SELECT orvik_row, class, votes,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY votes DESC, class) AS place
    FROM votes),
  elected AS (
    SELECT orvik_row, class, CAST(votes AS DOUBLE PRECISION) / %TREES% AS confidence
    FROM elections WHERE place = 1))source";

inline constexpr char k_weighed_vote[] = R"source(,
  -- Every tree has its votes, added up in the order of the trees; of equals the first class is
  -- found. A class has most of them in its last row.
  ballots AS (
    SELECT n.orvik_row, COALESCE(f.class, 0) AS class, t.votes,
           ROW_NUMBER() OVER (PARTITION BY n.orvik_row, COALESCE(f.class, 0) ORDER BY t.tree)
             AS place
    FROM numbered AS n CROSS JOIN trees AS t
      LEFT JOIN found AS f ON f.orvik_row = n.orvik_row AND f.tree = t.tree),
  votes(orvik_row, class, place, total) AS (
    SELECT orvik_row, class, place, votes FROM ballots WHERE place = 1
    UNION ALL
    SELECT v.orvik_row, v.class, b.place, v.total + b.votes
    FROM votes AS v CROSS JOIN ballots AS b
    WHERE b.orvik_row = v.orvik_row AND b.class = v.class AND b.place = v.place + 1))source";

inline constexpr char k_most_weighed_votes[] = R"source(,
  elections AS (
    SELECT orvik_row, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY total DESC, class) AS place
    FROM votes),
  elected AS (
    SELECT orvik_row, class, total / %VOTES% AS confidence FROM elections WHERE place = 1))source";

inline constexpr char k_shared[] = R"source(
  -- The shares of the classes over all trees, as many times as a tree has votes, leaf by leaf; of
  -- equals the first class is found. A class has most of them in its last row.
  parts AS (
    SELECT r.orvik_row, s.class, %SHARE% AS share,
           ROW_NUMBER() OVER (PARTITION BY r.orvik_row, s.class ORDER BY r.node) AS place
    FROM reached AS r CROSS JOIN leaf_shares AS s
    WHERE s.node = r.node),
  sums(orvik_row, class, place, total) AS (
    SELECT orvik_row, class, place, share FROM parts WHERE place = 1
    UNION ALL
    SELECT s.orvik_row, s.class, p.place, s.total + p.share
    FROM sums AS s CROSS JOIN parts AS p
    WHERE p.orvik_row = s.orvik_row AND p.class = s.class AND p.place = s.place + 1))source";

inline constexpr char k_largest[] = R"source(,
  ranked AS (
    SELECT orvik_row, class, total,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY total DESC, class) AS place
    FROM sums WHERE total > 0),
  elected AS (
    SELECT orvik_row, class, total / %VOTES% AS confidence FROM ranked WHERE place = 1))source";

// Costs are of known classes. Votes or shares of none but the unknown class are left for it.
inline constexpr char k_cheapest[] = R"source(,
  -- The class of the least expected cost, the first of equals: sums that differ by their rounding
  -- are equal. Its confidence is its share.
  given AS (
    SELECT orvik_row, class, MAX(%TOTAL%) AS total FROM %SUMS% GROUP BY orvik_row, class),
  expected AS (
    SELECT t.orvik_row, k.predicted, SUM(t.total * k.cost) AS cost
    FROM given AS t CROSS JOIN costs AS k
    WHERE k.actual = t.class AND t.total > 0
    GROUP BY t.orvik_row, k.predicted),
  least AS (SELECT orvik_row, MIN(cost) AS cost FROM expected GROUP BY orvik_row),
  decided AS (
    SELECT e.orvik_row, MIN(e.predicted) AS class
    FROM expected AS e CROSS JOIN least AS l
    WHERE l.orvik_row = e.orvik_row AND e.cost <= l.cost * (1 + 1e-9)
    GROUP BY e.orvik_row),
  elected AS (
    SELECT n.orvik_row, d.class, t.total / %ALL% AS confidence
    FROM numbered AS n LEFT JOIN decided AS d ON d.orvik_row = n.orvik_row
      LEFT JOIN given AS t ON t.orvik_row = n.orvik_row AND t.class = COALESCE(d.class, 0)))source";

// Shares of 0 have a worth of their own, so there is one of every class.
inline constexpr char k_plain_shares[] = R"source(,
  plain AS (
    SELECT n.orvik_row, c.code AS class, COALESCE(MAX(s.total), 0) / %VOTES% AS share
    FROM numbered AS n CROSS JOIN classes AS c
      LEFT JOIN sums AS s ON s.orvik_row = n.orvik_row AND s.class = c.code
    GROUP BY n.orvik_row, c.code),)source";

inline constexpr char k_isotonic[] = R"source(
  -- What a share is worth: linear between the knots of the map of its class, level outside of them.
  mapped AS (
    SELECT p.orvik_row, p.class,
           CASE WHEN m.y + (p.share - m.x) / m.width * m.rise > m.top THEN m.top
                ELSE m.y + (p.share - m.x) / m.width * m.rise END AS worth
    FROM plain AS p CROSS JOIN maps AS m
    WHERE m.class = p.class AND (m.low IS NULL OR p.share >= m.low)
      AND (m.high IS NULL OR p.share < m.high)),)source";

inline constexpr char k_platt[] = R"source(
  -- What a share is worth: 1 / (1 + exp(a share + b)), by the map of its class.
  mapped AS (
    SELECT p.orvik_row, p.class,
           CASE WHEN m.a * p.share + m.b >= 0
                THEN EXP(-(m.a * p.share + m.b)) / (1 + EXP(-(m.a * p.share + m.b)))
                ELSE 1 / (1 + EXP(m.a * p.share + m.b)) END AS worth
    FROM plain AS p CROSS JOIN maps AS m WHERE m.class = p.class),)source";

inline constexpr char k_calibrated_pair[] = R"source(
  calibrated AS (
    SELECT orvik_row, class, worth AS share FROM mapped
    UNION ALL
    SELECT orvik_row, 1, 1 - worth FROM mapped))source";

inline constexpr char k_calibrated_many[] = R"source(
  -- Divided by their sum; where all are 0 the shares stay as they are.
  worths AS (SELECT orvik_row, SUM(worth) AS total FROM mapped GROUP BY orvik_row),
  calibrated AS (
    SELECT p.orvik_row, p.class,
           CASE WHEN w.total > 0 THEN COALESCE(m.worth, 0) / w.total ELSE p.share END AS share
    FROM plain AS p CROSS JOIN worths AS w
      LEFT JOIN mapped AS m ON m.orvik_row = p.orvik_row AND m.class = p.class
    WHERE w.orvik_row = p.orvik_row))source";

inline constexpr char k_largest_calibrated[] = R"source(,
  ranked AS (
    SELECT orvik_row, class, share,
           ROW_NUMBER() OVER (PARTITION BY orvik_row ORDER BY share DESC, class) AS place
    FROM calibrated),
  elected AS (SELECT orvik_row, class, share AS confidence FROM ranked WHERE place = 1))source";

}  // namespace orvik::view
