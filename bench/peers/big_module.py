"""Writes the C# source of a large module: big_module.py FOLDER [METHODS].

The statements are what people write: most sequence points need one byte a number, some lines and columns need two, loops
and using blocks add points that belong to no line. The same call writes the same bytes.
"""
import os, sys

folder = sys.argv[1]
methods = int(sys.argv[2]) if len(sys.argv) > 2 else 32000
methods_of_class = 40
classes_of_file = 25

# Statements of a method, at most one line each level deep; {n} is a number that differs from statement to statement.
statements = [
    'total += {n};',
    'total = Add(total, values.Length + {n});',
    'if (total > {n}) total -= values.Length;',
    'text = text + "item {n}" + total;',
    'names.Add("a name that is long enough for its statement to end beyond the sixty-third column {n}");',
    'for (int i{n} = 0; i{n} < values.Length; i{n}++)\n{{\n    total += values[i{n}];\n}}',
    'foreach (var name{n} in names)\n{{\n    if (name{n}.Length > total)\n    {{\n        text += name{n};\n    }}\n}}',
    'if (total == {n} && text != null)\n{{\n    total = Add(total, {n});\n}}\nelse\n{{\n    text = names.Count.ToString();\n}}',
    'switch (total % 3)\n{{\n    case 0:\n        total += {n};\n        break;\n    case 1:\n        text += total;\n        break;\n}}',
    'total = Add(\n    values.Length * (total - {n}),\n    Add(names.Count, text.Length));',
    'try\n{{\n    total = Add(int.Parse(text), {n});\n}}\ncatch (System.FormatException)\n{{\n    total = {n};\n}}',
]

state = 1


def pick(count):
    global state
    state = (state * 6364136223846793005 + 1442695040888963407) % 2**64
    return (state >> 33) % count


def write_method(out, number):
    out.append(f'    public static int Method{number}(int[] values, List<string> names, string text)')
    out.append('    {')
    out.append(f'        int total = {number};')
    for n in range(11 + pick(12)):
        if pick(4) == 0:
            out.append(f'        // {"what comes next is explained here " * (1 + pick(2))}')
        for line in statements[pick(len(statements))].format(n=n).split('\n'):
            out.append('        ' + line)
    out.append('        return Add(total, text.Length);')
    out.append('    }')
    out.append('')


def write_file(path, first, count):
    out = ['using System.Collections.Generic;', '', 'namespace Big;', '']
    for begin in range(first, first + count, methods_of_class):
        out.append(f'public static class Class{begin // methods_of_class}')
        out.append('{')
        out.append('    static int Add(int left, int right) => left + right;')
        out.append('')
        for number in range(begin, min(begin + methods_of_class, first + count)):
            write_method(out, number)
        out.append('}')
        out.append('')
    with open(path, 'w', newline='\n') as file:
        file.write('\n'.join(out))


os.makedirs(folder, exist_ok=True)
step = methods_of_class * classes_of_file
for first in range(0, methods, step):
    write_file(os.path.join(folder, f'Big{first // step}.cs'), first, min(step, methods - first))
