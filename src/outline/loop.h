#ifndef PRIMFIT_SRC_OUTLINE_LOOP_H_
#define PRIMFIT_SRC_OUTLINE_LOOP_H_

/// Orders the vertices of a 2-D loop by their angle around the centroid, ascending in [0, 2 pi)
/// (counter-clockwise from the +u direction), and thins it: while more than 3 vertices are left, one at which
/// the outline changes its direction by less than 5 degrees or turns back within 5 degrees, or which lies
/// within 1e-5 of a neighbour, is taken out. The first vertex always stays. A vertex within 1e-10 of the
/// centroid has the angle 0, and so has one without a direction (not finite); vertices of equal angle keep
/// their order.
/// @param count  number of vertices, replaced by the new one; below 1 nothing happens
/// @param loop u0, v0, u1, v1, ... from new[]; released and replaced by a new array of 2 count doubles that
///     the caller releases with delete[]. Null: nothing happens.
/// @throws std::bad_alloc, with both arguments as they were
/// @note O(count log count)
void SortLoopVertices(int& count, double*& loop);

#endif  // PRIMFIT_SRC_OUTLINE_LOOP_H_
