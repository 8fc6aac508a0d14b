"""Figures of several rounds, and their Markdown."""
import statistics


class Spread:
    def __init__(self):
        self.values = []

    def add(self, value):
        self.values.append(value)

    def text(self, digits):
        if not self.values:
            return "-"
        return (f"{statistics.median(self.values):.{digits}f} "
                f"({min(self.values):.{digits}f} to {max(self.values):.{digits}f})")


def markdown(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"
