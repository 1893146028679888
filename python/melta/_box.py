"""Periodic cells for structures that are not periodic in all directions."""

from __future__ import annotations

import numpy as np

# Room that a box has beyond what it needs, so that it need not grow with each step, Angstrom.
ROOM = 1.0


class Box:
    """Makes cells in which atoms do not meet their images along directions that are not periodic.

    ``reach`` is how far atoms act on each other, Angstrom. A box is kept from one structure to the next while it
    is large enough, so that neighbour lists can be kept, too.
    """

    def __init__(self, reach: float):
        self.reach = reach
        self._directions = np.zeros((0, 3))
        self._lengths = np.zeros(0)

    def enclose(self, positions: np.ndarray, cell, pbc) -> np.ndarray:
        """A cell (3, 3), Angstrom: that of the arguments with other vectors where it is not periodic."""
        if pbc is None:
            pbc = cell is not None
        periodic = np.array(np.broadcast_to(np.asarray(pbc, dtype=bool), 3))
        cell = np.zeros((3, 3)) if cell is None else np.array(cell, dtype=np.float64)
        if cell.shape != (3, 3):
            raise ValueError("cell has to have the shape (3, 3)")
        if positions.ndim != 2 or positions.shape[1] != 3:
            raise ValueError("positions have to have the shape (n, 3)")
        if periodic.all() or not len(positions) or not np.isfinite(positions).all():
            return cell
        directions = self._normals(cell[periodic])
        projections = positions @ directions.T
        needed = np.ptp(projections, axis=0) + self.reach
        if (
            directions.shape != self._directions.shape
            or not np.array_equal(directions, self._directions)
            or (needed > self._lengths).any()
        ):
            self._directions, self._lengths = directions, needed + ROOM
        cell[~periodic] = self._directions * self._lengths[:, None]
        return cell

    @staticmethod
    def _normals(vectors: np.ndarray) -> np.ndarray:
        """Unit vectors that are perpendicular to each other and to the given ones, and complete them."""
        if not np.isfinite(vectors).all():
            raise ValueError("cell has to be finite")
        if not len(vectors):
            return np.eye(3)
        _, values, rows = np.linalg.svd(vectors)
        if values.min() <= 0.0:
            raise ValueError("cell has no vector along a periodic direction, or two along the same one")
        return rows[len(vectors) :]
