"""The one exception the package raises for a set it cannot read."""


class DiskDataError(ValueError):
    """A description, block or flag file is missing, damaged or not what the set needs.

    The message names the file. ``path`` holds its name.
    """

    def __init__(self, path, problem):
        super().__init__(f"{path}: {problem}")
        self.path = str(path)
