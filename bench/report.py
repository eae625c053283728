"""Compares what ./benchmark measured: report.py RESULTS DOCS

RESULTS holds ours.json and, as far as they were measured, managed.json and other.json, all as Google Benchmark writes
them. Prints a table and puts it between the marks of DOCS/performance.md; the plot goes to DOCS/pictures/cost.svg. The
best time of all repetitions counts: what other programs do to the machine only adds to it.
"""
import json, os, re, sys
from math import ceil, floor, log10

# What is measured, its benchmark, what cannot be beaten, and the benchmark of that; where the managed reader's differs, its
# benchmark. A row without a measurement is left out.
ROWS = [
    ('all ranges of a portable PDB', 'ranges/Big', 'copying the PDB', 'limit/copy_pdb'),
    ('the same, which the managed reader keeps too', 'ranges/Big', '', '', 'kept_ranges/Big'),
    ('all IL offsets of it', 'offsets/Big', 'copying the PDB', 'limit/copy_pdb'),
    ('ranges of one method', 'one_method/Big', '', ''),
    ('load and unload: MVID, debug entries, PDB', 'load/Big', 'reading the PDB', 'limit/read_pdb'),
    ('unpack an embedded PDB', 'unpack/Embedded', 'inflating it', 'limit/inflate'),
    ('classic PDB: open', 'classic_open', 'all methods', 'classic_all_methods'),
    ('classic PDB: open, first method', 'classic_first_method', 'all methods', 'classic_all_methods'),
    ('classic PDB: open, all methods', 'classic_all_methods', '', ''),
    ('a request for the IL offsets of 3 points', 'command_loop/offsets', '', ''),
    ('a request for the ranges of 3 points', 'command_loop/ranges', '', ''),
    ('a request to unload', 'command_loop/unload', '', ''),
    ('a conversation of handshake and goodbye', 'command_loop/open_and_close', '', ''),
]

# The curves of the plot: title, benchmark, what the sizes count.
CURVES = [('all ranges of a module', 'points', 'sequence points'), ('loading modules, one query each', 'modules', 'modules'),
          ('clients, a load and 100 requests each', 'clients', 'clients')]

UNITS = {'ns': 1, 'us': 1e3, 'ms': 1e6, 's': 1e9}


def read(path):
    """Best time in nanoseconds by name."""
    best = {}
    if os.path.exists(path):
        for run in json.load(open(path))['benchmarks']:
            if run['run_type'] == 'iteration':
                name = re.sub('/(repeats:|process_time).*', '', run['name'])
                best[name] = min(best.get(name, float('inf')), run['cpu_time'] * UNITS[run['time_unit']])
    return best


def shown(nanoseconds):
    for unit, size in (('ns', 1), ('us', 1e3), ('ms', 1e6)):
        if nanoseconds < 1000 * size or unit == 'ms':
            return f'{nanoseconds / size:.3g} {unit}'


def ratio(left, right):
    return f'{left / right:.3g}'


def table(ours, managed, other):
    head = ['what', 'time']
    if other:
        head += ['other build', 'ratio']
    if managed:
        head += ['managed reader', 'ratio']
    lines = [head + ['limit', 'time / limit']]
    for what, name, limit, limit_name, *managed_name in ROWS:
        if name not in ours:
            continue
        line = [what, shown(ours[name])]
        for there, key in [(other, name)] * bool(other) + [(managed, (managed_name or [name])[0])] * bool(managed):
            line += [shown(there[key]), ratio(there[key], ours[name])] if key in there else ['', '']
        line += [f'{limit}: {shown(ours[limit_name])}', ratio(ours[name], ours[limit_name])] if limit_name in ours else ['', '']
        lines.append(line)
    lines.insert(1, ['---'] * len(lines[0]))
    return '\n'.join('| ' + ' | '.join(line) + ' |' for line in lines)


def power_label(value):
    return f'{value:g}' if value < 1e5 else f'{value:.0e}'.replace('e+0', 'e')


def plot(ours):
    """Time against size, both logarithmic; None where nothing was measured."""
    width, height, left, top = 360, 260, 70, 40
    panels = []
    for number, (title, name, counted) in enumerate(CURVES):
        points = sorted((int(key.split('/')[1]), time / 1e6) for key, time in ours.items() if key.startswith(name + '/'))
        if len(points) < 2:
            continue
        x0, x1 = floor(log10(points[0][0])), ceil(log10(points[-1][0]))
        y0, y1 = floor(log10(min(y for _, y in points))), ceil(log10(max(y for _, y in points)))
        across = lambda x: left + (log10(x) - x0) / (x1 - x0) * (width - left - 20)
        down = lambda y: height - 50 - (log10(y) - y0) / (y1 - y0) * (height - 50 - top)
        marks = [f'<text x="{left}" y="{top - 18}" font-weight="bold">{title}</text>']
        for power in range(x0, x1 + 1):
            x = across(10**power)
            marks.append(f'<path d="M{x:.1f} {top}V{height - 50}" stroke="#ddd"/>'
                         f'<text x="{x:.1f}" y="{height - 34}" text-anchor="middle">{power_label(10**power)}</text>')
        for power in range(y0, y1 + 1):
            y = down(10**power)
            marks.append(f'<path d="M{left} {y:.1f}H{width - 20}" stroke="#ddd"/>'
                         f'<text x="{left - 6}" y="{y + 4:.1f}" text-anchor="end">{power_label(10**power)} ms</text>')
        marks.append(f'<text x="{(left + width - 20) / 2}" y="{height - 14}" text-anchor="middle">{counted}</text>')
        line = ' '.join(f'{across(x):.1f},{down(y):.1f}' for x, y in points)
        marks.append(f'<polyline points="{line}" fill="none" stroke="#1f6feb" stroke-width="2"/>')
        marks += [f'<circle cx="{across(x):.1f}" cy="{down(y):.1f}" r="3" fill="#1f6feb"/>' for x, y in points]
        panels.append(f'<g transform="translate({number * width})">' + '\n'.join(marks) + '</g>')
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width * len(CURVES)}" height="{height}" '
            'font-family="sans-serif" font-size="12"><rect width="100%" height="100%" fill="#fff"/>\n' +
            '\n'.join(panels) + '\n</svg>\n') if panels else None


def main(results, docs):
    ours, managed, other = (read(os.path.join(results, name + '.json')) for name in ('ours', 'managed', 'other'))
    figures = table(ours, managed, other)
    print(figures)
    page = os.path.join(docs, 'performance.md')
    text = open(page).read()
    marked = re.compile(r'(<!-- figures of ./benchmark -->\n).*?(<!-- end of the figures -->)', re.S)
    open(page, 'w').write(marked.sub(lambda mark: mark[1] + '\n' + figures + '\n\n' + mark[2], text))
    picture = plot(ours)
    if picture:
        os.makedirs(os.path.join(docs, 'pictures'), exist_ok=True)
        open(os.path.join(docs, 'pictures', 'cost.svg'), 'w').write(picture)


main(*sys.argv[1:])
