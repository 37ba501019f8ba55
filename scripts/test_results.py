"""Prints what tests found and writes it where count-tests looks, as GoogleTest does."""
import xml.sax.saxutils


def report(build, suite, results):
    """Takes (name, seconds, problem or "") of each test; returns the exit status, 1 when one has a problem."""
    failures = sum(1 for _, _, problem in results if problem)
    lines = [f'<testsuites tests="{len(results)}" failures="{failures}">']
    for name, seconds, problem in results:
        print(f"{'FAILED' if problem else 'ok':6} {name} ({seconds:.1f} s)" + (f"\n{problem}" if problem else ""))
        failure = f"<failure message={xml.sax.saxutils.quoteattr(problem)}/>" if problem else ""
        lines.append(f'<testcase classname="{suite}" name="{name}" time="{seconds:.1f}">{failure}</testcase>')
    (build / "test-results").mkdir(exist_ok=True)
    (build / f"test-results/{suite}.xml").write_text("\n".join(lines + ["</testsuites>", ""]), "utf-8")
    return 1 if failures else 0
