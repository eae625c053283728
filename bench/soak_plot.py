#!/usr/bin/env python3
"""Draws what a soak run has recorded: soak_plot.py CSV SVG"""
import csv
import sys

WIDTH, HEIGHT, LEFT, TOP = 640, 110, 70, 24


def panel(number, title, unit, seconds, values):
    """A curve of one column over the whole time, from zero up."""
    top = number * (HEIGHT + 2 * TOP) + TOP
    highest = max(max(values), 1)
    points = ' '.join(f'{LEFT + WIDTH * second / seconds[-1]:.1f},{top + HEIGHT * (1 - value / highest):.1f}'
                      for second, value in zip(seconds, values))
    return f'''<text x="{LEFT}" y="{top - 6}">{title}</text>
<rect x="{LEFT}" y="{top}" width="{WIDTH}" height="{HEIGHT}" fill="none" stroke="#bbb"/>
<text x="{LEFT - 6}" y="{top + 10}" text-anchor="end">{highest:,.0f}{unit}</text>
<text x="{LEFT - 6}" y="{top + HEIGHT}" text-anchor="end">0</text>
<text x="{LEFT + WIDTH}" y="{top + HEIGHT + 14}" text-anchor="end">{seconds[-1]:.0f} s</text>
<polyline points="{points}" fill="none" stroke="#2563eb" stroke-width="1.5"/>'''


def main(source, target):
    with open(source, newline='') as file:
        rows = [{name: float(value) for name, value in row.items()} for row in csv.DictReader(file)]
    column = {name: [row[name] for row in rows] for name in rows[0]}
    answers = column['answers']
    panels = [('Memory', ' MiB', [value / 2**20 for value in column['memory']]),
              ('Handles', '', column['handles']),
              ('Threads', '', column['threads']),
              ('Answers in a second', '', [b - a for a, b in zip([0.0] + answers, answers)])]
    body = '\n'.join(panel(number, title, unit, column['seconds'], values)
                     for number, (title, unit, values) in enumerate(panels))
    with open(target, 'w') as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{LEFT + WIDTH + 20}" '
                   f'height="{len(panels) * (HEIGHT + 2 * TOP)}" font-family="sans-serif" font-size="11">\n'
                   f'<rect width="100%" height="100%" fill="white"/>\n{body}\n</svg>\n')


if __name__ == '__main__':
    main(*sys.argv[1:])
