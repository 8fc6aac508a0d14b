class Markdown:
    """A table that grows line by line and can be read while it does."""

    def __init__(self, *titles):
        self.titles = titles
        self.rows = []

    def add(self, *cells):
        self.rows.append([str(cell) for cell in cells])

    def __str__(self):
        rule = ["---"] * len(self.titles)
        return "\n".join("| " + " | ".join(row) + " |" for row in [self.titles, rule, *self.rows])
