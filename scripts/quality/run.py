"""The quality benchmark: clips, noise, every method and its sweep, the table
and the plot. Called by scripts/quality.sh, which installs and builds first.

    run.py WORKDIR ADAPTIVE_CMD FUZZY_CMD|- [CLIP ...]

ADAPTIVE_CMD and FUZZY_CMD are command templates with {in}, {out} and
{threads}; "-" leaves the fuzzy rows out.
"""
import os
import shlex
import subprocess
import sys
import time

import score as scoring
import y4m

HERE = os.path.dirname(os.path.abspath(__file__))
PY = sys.executable
PICTURES = '/usr/share/backgrounds/mate'

# Each clip: name, size, frames, and the ffmpeg filter graph that makes it
# from pictures of the mate-backgrounds package.
CLIPS = {
    # Fixed camera, two objects crossing a garden.
    'still': ('768x576', 40, [
        '-loop', '1', '-framerate', '25', '-i', PICTURES + '/nature/Garden.jpg',
        '-loop', '1', '-framerate', '25', '-i', PICTURES + '/nature/LadyBird.jpg',
        '-loop', '1', '-framerate', '25', '-i', PICTURES + '/nature/FreshFlower.jpg',
        '-filter_complex',
        '[0]scale=1024:640,crop=768:576:128:32[bg];'
        '[1]scale=320:200,crop=176:128:72:40[s1];'
        '[2]scale=400:300,crop=144:144:120:60[s2];'
        "[bg][s1]overlay=x='40+7*n':y='300+3*n'[t];"
        "[t][s2]overlay=x='600-5*n':y='60+4*n+10*sin(n/4)',format=yuv420p"]),
    # Handheld: a drifting, shaking window on wood grain, scaled by a half so
    # that the motion is not in whole pixels.
    'handheld': ('640x480', 40, [
        '-loop', '1', '-framerate', '25', '-i', PICTURES + '/nature/Wood.jpg',
        '-vf',
        "crop=1280:960:x='640+3*n+14*sin(n*0.5)+6*sin(n*1.3)'"
        ":y='480+1.5*n+12*sin(n*0.6+1)+5*sin(n*1.7)',"
        'scale=640:480:flags=lanczos,format=yuv420p']),
    # 1080p pan over a painting on canvas (fine texture everywhere), 7.1
    # pixels a frame with a slow vertical sway.
    'pan1080': ('1920x1080', 20, [
        '-loop', '1', '-framerate', '25', '-i', PICTURES + '/abstract/Elephants_5640x3172.jpg',
        '-vf',
        "crop=2880:1620:x='200+10.7*n':y='800+2*n+3*sin(n*0.3)',"
        'scale=1920:1080:flags=lanczos,format=yuv420p']),
}

LEVELS = [('low', 3.5), ('mid', 7.5), ('high', 13.0)]


def sh(cmd, **kw):
    return subprocess.run(cmd, check=True, **kw)


def ffmpeg(args):
    sh(['ffmpeg', '-hide_banner', '-loglevel', 'error', '-y'] + args)


def make_clips(work, names):
    for name in names:
        size, frames, graph = CLIPS[name]
        clean = os.path.join(work, name + '.y4m')
        if not os.path.exists(clean):
            ffmpeg(graph + ['-frames:v', str(frames), '-f', 'yuv4mpegpipe', clean])
        for i, (level, sigma) in enumerate(LEVELS):
            noisy = os.path.join(work, '%s_%s.y4m' % (name, level))
            if not os.path.exists(noisy):
                seed = 1000 * (list(CLIPS).index(name) + 1) + i
                sh([PY, os.path.join(HERE, 'add_noise.py'), clean, noisy, str(sigma), str(seed)])


def ssim_y(clean, test, skip=2):
    stats = test + '.ssim.txt'
    ffmpeg(['-i', test, '-i', clean, '-lavfi', 'ssim=stats_file=' + stats, '-f', 'null', '-'])
    values = []
    with open(stats) as f:
        for line in f:
            fields = dict(t.split(':', 1) for t in line.split() if ':' in t)
            if int(fields['n']) > skip:
                values.append(float(fields['Y']))
    os.remove(stats)
    return sum(values) / len(values)


class Reference:
    """A clean clip in memory with its moving-pixel masks."""

    def __init__(self, path):
        self.path = path
        self.frames = y4m.read(path)[1]
        self.masks = scoring.moving_masks(self.frames)

    def score(self, test):
        y, uv, moving = scoring.scores(self.frames, y4m.read(test)[1], 2, self.masks)
        return {'y': y, 'uv': uv, 'ssim': ssim_y(self.path, test), 'moving': moving}


def run_template(template, src, dst, threads):
    cmd = template.format(**{'in': shlex.quote(src), 'out': shlex.quote(dst),
                             'threads': threads})
    start = time.time()
    sh(cmd, shell=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return time.time() - start


def run_ffmpeg_filter(src, dst, graph, threads=2):
    start = time.time()
    ffmpeg(['-threads', str(threads), '-filter_threads', str(threads), '-i', src, '-vf', graph,
            '-f', 'yuv4mpegpipe', dst])
    return time.time() - start


def sweeps(level_sigma):
    s = level_sigma
    hq = []
    for ls in (0.4 * s, 0.8 * s, 1.4 * s):
        for lt in (0.75 * ls, 1.5 * ls):
            hq.append('hqdn3d=%.2f:%.2f:%.2f:%.2f' % (ls, 0.75 * ls, lt, 0.75 * lt))
    ata = []
    for a in (0.02, 0.05):
        for b in (2, 4):
            t = 'atadenoise=0a=%.3f:0b=%.3f:1a=%.3f:1b=%.3f:2a=%.3f:2b=%.3f:s=9' % (
                a, a * b, a, a * b, a, a * b)
            ata.append(t)
    nl = ['nlmeans=s=%.2f:p=3:r=7' % (f * s) for f in (0.35, 0.55, 0.8)]
    return {'hqdn3d': hq, 'atadenoise': ata, 'nlmeans': nl}


def best_of(results):
    """Each metric at its best over a sweep; the parameter of the best PSNR-Y."""
    best = {k: max(r[k] for r, _ in results) for k in ('y', 'uv', 'ssim', 'moving')}
    best['param'] = max(results, key=lambda rp: rp[0]['y'])[1]
    return best


def measure_fps(work, adaptive, fuzzy, clip):
    """Frames per second end to end at 1080p, two threads each."""
    src = os.path.join(work, clip + '_mid.y4m')
    frames = CLIPS[clip][1]
    dst = os.path.join(work, 'fps_out.y4m')
    fps = {}
    fps['adaptive'] = frames / min(run_template(adaptive, src, dst, 2) for _ in range(3))
    if fuzzy:
        fps['fuzzy'] = frames / min(run_template(fuzzy, src, dst, 2) for _ in range(3))
    for name, graph in (('hqdn3d', 'hqdn3d'), ('atadenoise', 'atadenoise'),
                        ('nlmeans', 'nlmeans=s=3:p=3:r=7')):
        reps = 1 if name == 'nlmeans' else 3
        fps[name] = frames / min(run_ffmpeg_filter(src, dst, graph) for _ in range(reps))
    os.remove(dst)
    return fps


def main():
    work, adaptive, fuzzy = sys.argv[1], sys.argv[2], sys.argv[3]
    fuzzy = None if fuzzy == '-' else fuzzy
    names = sys.argv[4:] or list(CLIPS)
    os.makedirs(work, exist_ok=True)
    make_clips(work, names)
    rows = []  # (clip, level, method, metrics)
    out = os.path.join(work, 'out.y4m')
    for name in names:
        ref = Reference(os.path.join(work, name + '.y4m'))
        for level, sigma in LEVELS:
            noisy = os.path.join(work, '%s_%s.y4m' % (name, level))
            print('== %s %s' % (name, level), file=sys.stderr, flush=True)
            rows.append((name, level, 'noisy input', ref.score(noisy)))
            run_template(adaptive, noisy, out, 2)
            rows.append((name, level, 'adaptive', ref.score(out)))
            if fuzzy:
                run_template(fuzzy, noisy, out, 2)
                rows.append((name, level, 'fuzzy (compatible)', ref.score(out)))
            for peer, graphs in sweeps(sigma).items():
                results = []
                for g in graphs:
                    run_ffmpeg_filter(noisy, out, g)
                    results.append((ref.score(out), g))
                rows.append((name, level, peer, best_of(results)))
    os.remove(out)
    fps_clip = next((n for n in names if CLIPS[n][0] == '1920x1080'), names[0])
    fps = measure_fps(work, adaptive, fuzzy, fps_clip)
    print_table(rows, fps, fps_clip)
    plot(rows, fps, os.path.join(work, 'quality_vs_speed.png'))


def print_table(rows, fps, fps_clip):
    methods_fps = {'adaptive': 'adaptive', 'fuzzy (compatible)': 'fuzzy', 'hqdn3d': 'hqdn3d',
                   'atadenoise': 'atadenoise', 'nlmeans': 'nlmeans'}
    print('| clip | noise | method | PSNR-Y | PSNR-UV | SSIM-Y | PSNR-Y moving | fps %s, 2 threads |'
          % CLIPS[fps_clip][0])
    print('|---|---|---|---|---|---|---|---|')
    for clip, level, method, m in rows:
        f = fps.get(methods_fps.get(method, ''), None)
        label = method + (' (best of sweep)' if 'param' in m else '')
        print('| %s | %s | %s | %.2f | %.2f | %.4f | %.2f | %s |' % (
            clip, level, label, m['y'], m['uv'], m['ssim'], m['moving'],
            '%.1f' % f if f else ''))
    # Margins of the adaptive method over the best peer, per cell.
    print()
    print('| clip | noise | metric | adaptive | best peer | margin | beats all peers |')
    print('|---|---|---|---|---|---|---|')
    cells = {}
    for clip, level, method, m in rows:
        cells.setdefault((clip, level), {})[method] = m
    misses = 0
    for (clip, level), ms in cells.items():
        ours = ms['adaptive']
        for key, name in (('y', 'PSNR-Y'), ('uv', 'PSNR-UV'), ('ssim', 'SSIM-Y'),
                          ('moving', 'PSNR-Y moving')):
            peers = [(ms[p][key], p) for p in ('hqdn3d', 'atadenoise', 'nlmeans') if p in ms]
            if key == 'moving':
                peers.append((ms['noisy input'][key], 'noisy input'))
            value, who = max(peers)
            ok = ours[key] > value
            misses += not ok
            fmt = '%.4f' if key == 'ssim' else '%.2f'
            print(('| %s | %s | %s | ' + fmt + ' | ' + fmt + ' (%s) | ' + fmt + ' | %s |') % (
                clip, level, name, ours[key], value, who, ours[key] - value,
                'yes' if ok else 'NO'))
    print()
    print('cells missed: %d' % misses)
    print('fps at %s (frames per second end to end, 2 threads): %s' % (
        CLIPS[fps_clip][0], ', '.join('%s %.1f' % kv for kv in fps.items())))
    if 'hqdn3d' in fps:
        print('adaptive / hqdn3d speed: %.2fx (target 3x)' % (fps['adaptive'] / fps['hqdn3d']))


def plot(rows, fps, path):
    import matplotlib
    matplotlib.use('Agg')
    import matplotlib.pyplot as plt
    names = {'adaptive': 'adaptive', 'fuzzy (compatible)': 'fuzzy', 'hqdn3d': 'hqdn3d',
             'atadenoise': 'atadenoise', 'nlmeans': 'nlmeans'}
    gain = {}
    for clip, level, method, m in rows:
        gain.setdefault(method, []).append(m['y'])
    base = sum(gain['noisy input']) / len(gain['noisy input'])
    fig, ax = plt.subplots(figsize=(7, 4.5))
    for method, key in names.items():
        if method not in gain or key not in fps:
            continue
        q = sum(gain[method]) / len(gain[method]) - base
        ax.scatter([fps[key]], [q], s=60)
        ax.annotate(method, (fps[key], q), textcoords='offset points', xytext=(6, 4))
    ax.set_xscale('log')
    ax.set_xlabel('frames per second at 1080p, 2 threads, end to end (log)')
    ax.set_ylabel('mean PSNR-Y gain over the noisy input (dB)')
    ax.set_title('Quality vs speed (peers at their best sweep value per cell)')
    ax.grid(True, which='both', alpha=0.3)
    fig.tight_layout()
    fig.savefig(path, dpi=110)
    print('plot: %s' % path)


if __name__ == '__main__':
    main()
