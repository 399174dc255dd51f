<?php
// The WebDAV server of the local platform, driven in-process: how deep a
// PROPFIND walks, in which order, and what a refused login answers.
// Usage: php test_dav_depth.php <repository root>

$top = isset($argv[1]) ? $argv[1] : dirname(__DIR__, 2);
require_once $top . '/platform/webdav/ZrvDavApp.php';

// Keeps status and headers instead of sending them.
class CapturedResponse extends \Sabre\HTTP\Response
{
    public $status = 0;
    public $headers = array();

    public function sendStatus($code)
    {
        $this->status = $code;
        return true;
    }

    public function setHeader($name, $value, $replace = true)
    {
        $this->headers[strtolower($name)] = $value;
        return true;
    }
}

function request($root, $method, $uri, $user, $password, $depth)
{
    $server = array('REQUEST_METHOD' => $method, 'REQUEST_URI' => $uri, 'SERVER_PROTOCOL' => 'HTTP/1.1');
    if ($user !== null) {
        $server['HTTP_AUTHORIZATION'] = 'Basic ' . base64_encode($user . ':' . $password);
    }
    if ($depth !== null) {
        $server['HTTP_DEPTH'] = $depth;
    }
    $request = new \Sabre\HTTP\Request($server);
    $request->setBody('');
    $response = new CapturedResponse();
    $dav = ZrvDavApp::create($root, array('cloud' => 'cloud123', 'other' => 'other123'), $request, $response);
    ob_start();
    $dav->exec();
    return array($response, ob_get_clean());
}

function hrefs($xml)
{
    $doc = new DOMDocument();
    if (!@$doc->loadXML($xml)) {
        return null;
    }
    $out = array();
    foreach ($doc->getElementsByTagNameNS('DAV:', 'href') as $href) {
        $out[] = substr(rawurldecode($href->textContent), strlen('/remote.php/dav/files/cloud/'));
    }
    return $out;
}

$root = sys_get_temp_dir() . '/zrv-dav-' . getmypid();
foreach (array('cloud/a/b/c/d', 'cloud/z', 'other') as $dir) {
    mkdir("$root/$dir", 0777, true);
}
foreach (array('cloud/top.fbx', 'cloud/a/one.png', 'cloud/a/b/two.pdf', 'cloud/a/b/c/d/deep file.fbx', 'cloud/z/last.txt') as $file) {
    file_put_contents("$root/$file", $file);
}

$failures = 0;
function check($name, $ok, $detail = '')
{
    global $failures;
    echo ($ok ? 'ok   ' : 'FAIL ') . $name . ($ok || $detail === '' ? '' : "\n     $detail") . "\n";
    if (!$ok) {
        $failures++;
    }
}

$everything = array('', 'a/', 'a/b/', 'a/b/c/', 'a/b/c/d/', 'a/b/c/d/deep file.fbx', 'a/b/two.pdf', 'a/one.png', 'top.fbx', 'z/', 'z/last.txt');
$depthRows = array(
    'Depth 0 is the collection alone' => array('', '0', array('')),
    'Depth 1 lists the direct children only' => array('', '1', array('', 'a/', 'top.fbx', 'z/')),
    'no Depth header counts as 1' => array('', null, array('', 'a/', 'top.fbx', 'z/')),
    'a Depth that is no number counts as 1' => array('', 'deep', array('', 'a/', 'top.fbx', 'z/')),
    'Depth 2 stops two levels down' => array('', '2', array('', 'a/', 'a/b/', 'a/one.png', 'top.fbx', 'z/', 'z/last.txt')),
    'Depth 10 reaches the deepest file, each folder before its content' => array('', '10', $everything),
    'Depth infinity walks everything' => array('', 'infinity', $everything),
    'Depth 3 below a subfolder stays inside it' => array('a/b', '3', array('a/b/', 'a/b/c/', 'a/b/c/d/', 'a/b/c/d/deep file.fbx', 'a/b/two.pdf')),
    'Depth 10 on a file is the file alone' => array('a/one.png', '10', array('a/one.png')),
);
foreach ($depthRows as $name => $row) {
    list($path, $depth, $expected) = $row;
    list($response, $body) = request($root, 'PROPFIND', '/remote.php/dav/files/cloud/' . $path, 'cloud', 'cloud123', $depth);
    $got = hrefs($body);
    check($name, $response->status == 207 && $got === $expected,
          'status ' . $response->status . ', hrefs ' . json_encode($got));
}

list($response, $body) = request($root, 'PROPFIND', '/remote.php/dav/files/cloud/a/b/c/d/', 'cloud', 'cloud123', '1');
$doc = new DOMDocument();
$doc->loadXML($body);
$lengths = array();
foreach ($doc->getElementsByTagNameNS('DAV:', 'getcontentlength') as $node) {
    $lengths[] = $node->textContent;
}
$collections = $doc->getElementsByTagNameNS('DAV:', 'collection')->length;
check('a file reports its size and a folder is marked a collection',
      $lengths === array((string)strlen('cloud/a/b/c/d/deep file.fbx')) && $collections === 1,
      json_encode($lengths) . ", $collections collections");
check('a blank in a name is percent-encoded in the href', strpos($body, 'deep%20file.fbx') !== false, $body);

$refusals = array(
    'a wrong password' => array('/remote.php/dav/files/cloud/', 'cloud', 'wrong'),
    'no credentials' => array('/remote.php/dav/files/cloud/', null, null),
    'another account\'s files' => array('/remote.php/dav/files/other/', 'cloud', 'cloud123'),
    'an unknown account' => array('/remote.php/dav/files/nobody/', 'nobody', 'x'),
);
foreach ($refusals as $name => $row) {
    list($uri, $user, $password) = $row;
    list($response, $body) = request($root, 'PROPFIND', $uri, $user, $password, '10');
    $doc = new DOMDocument();
    $parsed = @$doc->loadXML($body);
    $error = $parsed ? $doc->documentElement : null;
    $exception = $parsed ? $doc->getElementsByTagNameNS('http://sabredav.org/ns', 'exception') : null;
    $message = $parsed ? $doc->getElementsByTagNameNS('http://sabredav.org/ns', 'message') : null;
    check("$name answers 401 with d:error, s:exception and s:message",
          $response->status == 401 && $error && $error->namespaceURI === 'DAV:' && $error->localName === 'error'
          && $exception->length === 1 && $exception->item(0)->textContent === 'Sabre\\DAV\\Exception\\NotAuthenticated'
          && $message->length === 1 && $message->item(0)->textContent !== ''
          && isset($response->headers['www-authenticate']),
          'status ' . $response->status . ": $body");
}

exec('rm -rf ' . escapeshellarg($root));
echo $failures === 0 ? "all passed\n" : "$failures failed\n";
exit($failures === 0 ? 0 : 1);
