<?php
// Builds the server for one request: the files of USER live below
// <root>/USER and are served at "/remote.php/dav/files/USER/".

require_once 'Sabre/autoload.php';
require_once __DIR__ . '/ZrvDavServer.php';
require_once __DIR__ . '/ZrvDavUsers.php';

class ZrvDavApp
{
    const FILES_PREFIX = '/remote.php/dav/files/';

    // Returns the account named by the request path, or null outside the files tree.
    public static function ownerOf($requestUri)
    {
        $path = rawurldecode((string)parse_url($requestUri, PHP_URL_PATH));
        if (strpos($path, self::FILES_PREFIX) !== 0) {
            return null;
        }
        $rest = substr($path, strlen(self::FILES_PREFIX));
        $slash = strpos($rest, '/');
        $user = $slash === false ? $rest : substr($rest, 0, $slash);
        return $user === '' ? null : $user;
    }

    // $request and $response default to the running PHP request; tests pass their own.
    public static function create($root, array $passwords, $request = null, $response = null)
    {
        $request = $request ?: new \Sabre\HTTP\Request();
        $owner = self::ownerOf($request->getUri());
        if ($owner !== null && isset($passwords[$owner])) {
            $home = $root . '/' . $owner;
            if (!is_dir($home)) {
                mkdir($home, 0777, true);
            }
            $server = new ZrvDavServer(new \Sabre\DAV\FS\Directory($home));
            $server->setBaseUri(self::FILES_PREFIX . rawurlencode($owner) . '/');
        } else {
            // Anything else still asks for a login first and then finds nothing.
            $server = new ZrvDavServer(new \Sabre\DAV\SimpleCollection('files'));
            $server->setBaseUri(self::FILES_PREFIX);
        }
        $server->httpRequest = $request;
        if ($response !== null) {
            $server->httpResponse = $response;
        }
        $server->addPlugin(new \Sabre\DAV\Auth\Plugin(new ZrvDavUsers($passwords, $owner), 'NextCloud'));
        return $server;
    }
}
