"""What the formats with coded runs have in common: a run is of 1 to 128 values."""


def equal_values(values, at):
    """How many values from `at` on are the same."""
    end = min(at + 128, len(values))
    return next((i for i in range(at + 1, end) if values[i] != values[at]), end) - at
